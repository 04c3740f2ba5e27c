#pragma once

#include <span>
#include <string_view>

namespace engine {

/// A catalogue file that is built in: the file's name without its ending, and its text.
struct Embedded {
  std::string_view name;
  std::string_view text;
};

/// All of them, in no particular order.
[[nodiscard]] std::span<const Embedded> embedded_files();

}  // namespace engine
