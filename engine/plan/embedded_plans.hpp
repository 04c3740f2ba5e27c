#pragma once

#include "toml/embedded.hpp"

namespace engine {

/// The plans that are built in, in no particular order.
[[nodiscard]] std::span<const toml_file::Embedded> embedded_plans();

}  // namespace engine
