#pragma once

#include <optional>
#include <string_view>

#include "engine/run/stop.hpp"
#include "host/names.hpp"

namespace host {

/// While it lives, Ctrl-C and SIGTERM do not end the program but ask for a stop.  A second signal of the same kind ends
/// the program at once.  It may be nested: an inner one asks on the same source.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption &) = delete;
  Interruption &operator=(const Interruption &) = delete;

  [[nodiscard]] static const StopSource &source();
};

/// Reads a time limit: seconds, with a decimal fraction where wanted.
/// @param text  empty for none.
/// @param what  what the message calls it, "--timeout".
/// @throw InputError for what is not above 0, or more than a million.
[[nodiscard]] std::optional<StopToken::Duration> parse_time_limit(std::string_view text, std::string_view what);

}  // namespace host
