#pragma once

#include "toml/embedded.hpp"

namespace engine {

/// The catalogue's files that are built in, in no particular order.
[[nodiscard]] std::span<const toml_file::Embedded> embedded_catalogue();

}  // namespace engine
