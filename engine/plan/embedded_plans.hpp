#pragma once

#include <span>

#include "embedded.hpp"

namespace host::plans {

/// The plans that are built in, in no particular order.
[[nodiscard]] std::span<const Embedded> embedded_files();

}  // namespace host::plans
