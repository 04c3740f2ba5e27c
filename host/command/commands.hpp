#pragma once

#include <string_view>

#include "host/command/options.hpp"
#include "host/names.hpp"

/// The commands of mcrhost.  Each function adds one to the command line; when it is the one given, it sets `action`.
namespace host {

void add_list(CLI::App &app, Action &action);
void add_show(CLI::App &app, Action &action);
void add_run(CLI::App &app, Action &action);
void add_units(CLI::App &app, Action &action);
void add_jtag(CLI::App &app, Action &action);
void add_ring(CLI::App &app, Action &action);
void add_i2c(CLI::App &app, Action &action);
void add_mbc(CLI::App &app, Action &action);
void add_shell(CLI::App &app, Action &action);
/// A command of the program's own, for the completion of other shells.
void add_complete(CLI::App &app, Action &action);
void add_manual(CLI::App &app, Action &action);
void add_reference(CLI::App &app, Action &action);
void add_plan(CLI::App &app, Action &action);

/// What only the lines of a shell know: help, exit, quit.
void add_session_commands(CLI::App &app, Action &action);
inline constexpr std::string_view HELP_COMMAND = "help";

}  // namespace host
