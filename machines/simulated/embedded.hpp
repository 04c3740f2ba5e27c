#pragma once

#include <span>
#include <string_view>

namespace simulated {

/// A machine description that is built into the library: the file's name without its ending, and its text.
struct Embedded {
  std::string_view name;
  std::string_view text;
};

/// All of them, in no particular order.  "default" is among them.
[[nodiscard]] std::span<const Embedded> embedded_files();

}  // namespace simulated
