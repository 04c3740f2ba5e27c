#pragma once

namespace host {

/// The exit status of every command.
enum class ExitStatus : int {
  ok = 0,      ///< the macro ended without failure
  failed = 1,  ///< the macro failed, or something was found
  usage = 2,   ///< wrong usage or input, or output that could not be written
};

}  // namespace host
