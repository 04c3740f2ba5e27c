#pragma once

#include <array>
#include <string_view>

#include "host/names.hpp"

namespace host {

/// The exit status of every command.
enum class ExitStatus : int { ok = 0, failed = 1, usage = 2 };

/// What an exit status tells, for help and manual.
struct ExitStatusInfo {
  ExitStatus status{};
  std::string_view name;     ///< "wrong usage"
  std::string_view meaning;  ///< of a command that says nothing else of it
};

/// Every exit status, by its number.
inline constexpr std::array EXIT_STATUSES{
    ExitStatusInfo{ExitStatus::ok, "success", "it ended without failure, and what was expected held"},
    ExitStatusInfo{ExitStatus::failed, "a failure or a finding", "a macro or an access failed, or something was found"},
    ExitStatusInfo{ExitStatus::usage, "wrong usage",
                   "wrong usage or input, or output that could not be written; one line on standard error says which"},
};

}  // namespace host
