#pragma once

#include <string_view>

#include "host/command/command.hpp"
#include "host/command/options.hpp"
#include "host/names.hpp"

/// The commands of mcrhost.  Each function adds one to the command line; when it is the one given, it sets `action`.
namespace host {

void add_list(Command &program, Action &action);
void add_show(Command &program, Action &action);
void add_run(Command &program, Action &action);
void add_units(Command &program, Action &action);
void add_jtag(Command &program, Action &action);
void add_ring(Command &program, Action &action);
void add_i2c(Command &program, Action &action);
void add_mbc(Command &program, Action &action);
void add_shell(Command &program, Action &action);
/// A command of the program's own, for the completion of other shells.
void add_complete(Command &program, Action &action);
void add_manual(Command &program, Action &action);
void add_reference(Command &program, Action &action);
void add_plan(Command &program, Action &action);

/// What only the lines of a shell know: help, exit, quit.
void add_shell_commands(Command &program, Action &action);
inline constexpr std::string_view HELP_COMMAND = "help";

}  // namespace host
