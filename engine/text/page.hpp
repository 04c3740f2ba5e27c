#pragma once

#include <cstddef>

namespace engine {

/// What people read is kept within this many columns.
inline constexpr std::size_t PAGE_WIDTH = 100;

}  // namespace engine
