#pragma once

#include <stdexcept>

namespace host {

/// Wrong usage or input: what() is one line for people that names what was wrong and what would be right.  The command
/// ends with ExitStatus::usage.
class [[nodiscard]] InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The exit status of every command.
enum class ExitStatus : int {
  ok = 0,      ///< the macro ended without failure
  failed = 1,  ///< the macro failed, or something was found
  usage = 2,   ///< wrong usage or input, or output that could not be written
};

}  // namespace host
