#pragma once

#include "toml/embedded.hpp"

namespace simulated {

/// The machine descriptions that are built in, in no particular order.  "default" is among them.
[[nodiscard]] std::span<const toml_file::Embedded> embedded_machines();

}  // namespace simulated
