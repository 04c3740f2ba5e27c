#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/text/error.hpp"
#include "host/command/command.hpp"
#include "host/command/exit_status.hpp"
#include "host/names.hpp"

namespace host {

/// The command that was given with its options: its work, which ends with the exit status.
using Action = std::function<ExitStatus()>;

/// Options that commands on macros and machines have.
struct CommonOptions {
  std::string machine;                 ///< description, empty for the default
  std::string state;                   ///< file that keeps the machine's state, empty for none
  std::vector<std::string> libraries;  ///< macro libraries, empty for the default
  bool json = false;
};

/// Adds --machine.
void add_machine_option(Command &command, CommonOptions &options);

/// Adds --machine and --json, for commands that need no macro library.
void add_machine_options(Command &command, CommonOptions &options);

void add_library_option(Command &command, CommonOptions &options);

/// Adds all of these.
void add_common_options(Command &command, CommonOptions &options);

/// Adds --state, for commands that can change the machine; they call save_state() when they are done.
void add_state_option(Command &command, CommonOptions &options);

/// Adds --timeout, for commands that make accesses; parse_time_limit() reads it.
void add_timeout_option(Command &command, std::string &seconds);

/// Adds --progress; parse_progress_mode() reads it.
void add_progress_option(Command &command, std::string &mode);

/// Adds --trace.
/// @param file  the file given, STANDARD_ERROR where none is.
void add_trace_option(Command &command, std::string &file);

/// Adds --catalogue.
void add_catalogue_option(Command &command, std::string &folder);

/// Puts the machine behind the primitives, in the state that --state keeps.  In a shell its machine is there already.
/// @throw scdb::MachineError, InputError
void open_machine(const CommonOptions &options);

/// Loads the macro libraries.  In a shell they are loaded already.
/// @throw scdb::LibraryError
void open_libraries(const CommonOptions &options);

/// Both.
void open(const CommonOptions &options);

}  // namespace host
