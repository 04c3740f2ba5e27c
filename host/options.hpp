#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "error.hpp"

namespace host {

/// The command that was given with its options: its work, which ends with the exit status.
using Action = std::function<ExitStatus()>;

/// Options that every command on macros and machines has.
struct CommonOptions {
  std::string machine;                 ///< description, empty for the default
  std::vector<std::string> libraries;  ///< macro libraries, empty for the default
  bool json = false;
};

/// Adds --machine, --library and --json.
void add_common_options(CLI::App &command, CommonOptions &options);

/// Puts the machine behind the primitives and loads the macro libraries.
/// @throw scdb::MachineError, scdb::LibraryError
void open(const CommonOptions &options);

}  // namespace host
