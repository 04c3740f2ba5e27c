#pragma once

#include <span>

#include "engine/text/embedded.hpp"

namespace engine::plans {

/// The plans that are built in, in no particular order.
[[nodiscard]] std::span<const Embedded> embedded_files();

}  // namespace engine::plans
