#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/text/error.hpp"
#include "host/command/bench_in_use.hpp"
#include "host/command/command.hpp"
#include "host/command/exit_status.hpp"
#include "host/names.hpp"

namespace host {

/// The command that was given with its options: its work, which ends with the exit status.
using Action = std::function<ExitStatus()>;

/// Adds --machine.
void add_machine_option(Command &command, CommonOptions &options);

/// Adds --machine and --json, for commands that need no macro library.
void add_machine_options(Command &command, CommonOptions &options);

void add_library_option(Command &command, CommonOptions &options);

/// Adds all of these.
void add_common_options(Command &command, CommonOptions &options);

/// Adds --state, for commands that can change the machine; they keep the state when they are done.
void add_state_option(Command &command, CommonOptions &options);

/// Adds --timeout, for commands that make accesses; parse_time_limit() reads it.
void add_timeout_option(Command &command, std::string &seconds);

/// Adds --progress; parse_progress_mode() reads it.
void add_progress_option(Command &command, std::string &mode);

/// Adds --trace.
/// @param file  the file given, STANDARD_ERROR where none is.
void add_trace_option(Command &command, std::string &file);

/// Adds --catalogue.
void add_catalogue_option(Command &command, CommonOptions &options);

}  // namespace host
