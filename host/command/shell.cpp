#include <fmt/format.h>
#include <unistd.h>

#include <iostream>
#include <memory>

#include "engine/report/run_report.hpp"
#include "host/command/command_line.hpp"
#include "host/command/commands.hpp"
#include "host/command/completion.hpp"
#include "host/command/interruption.hpp"
#include "host/command/option_names.hpp"
#include "host/command/output.hpp"
#include "host/shell/history.hpp"
#include "host/shell/line_editor.hpp"
#include "host/shell/line_words.hpp"

namespace host {
namespace {

struct ShellOptions {
  CommonOptions common;
  bool keep_going = false;
};

/// Does what a line asks for.
/// @param place  what a complaint starts with, "line 3: ".
ExitStatus run_line(OpenShell &shell, std::string_view line, std::string_view place) {
  try {
    std::vector<std::string> words = words_of(line);
    // Lines that were written for other shells name the program.
    if (!words.empty() && words.front() == "mcrhost")
      words.erase(words.begin());
    if (words.empty())
      return ExitStatus::ok;
    CommandLine commands{&shell};
    return commands.parse(std::move(words))();
  } catch (const InputError &error) {
    complain(fmt::format("{}{}", place, error.text(option_name)));
  } catch (const std::exception &error) {
    complain(fmt::format("{}{}", place, error.what()));
  }
  return ExitStatus::usage;
}

/// Lines as they are typed.
void converse(OpenShell &shell) {
  const std::string machine = label_of(shell.bench.machine_info());
  write_error(fmt::format("{}: 'help' shows the commands, {}'exit' leaves\n", machine,
                          LineEditor::COMPLETES ? "Tab completes words, " : ""));
  KeptLines kept{complain};
  LineEditor editor{machine + "> ", [&shell](std::string_view line) { return complete_line(line, &shell); }};
  for (const std::string &line : kept.earlier())
    editor.remember(line);
  while (!shell.ended) {
    const std::optional<std::string> line = editor.read();
    if (!line)
      return;
    if (line->find_first_not_of(" \t") == std::string::npos)
      continue;
    editor.remember(*line);
    kept.add(*line);
    run_line(shell, *line, "");
  }
}

/// Lines of a file or a pipe.
/// @return the status of the first line that did not end with 0.
ExitStatus run_lines(OpenShell &shell, bool keep_going) {
  ExitStatus first = ExitStatus::ok;
  std::string line;
  for (unsigned number = 1; !shell.ended && std::getline(std::cin, line); ++number) {
    const Interruption interruption;
    const ExitStatus status = run_line(shell, line, fmt::format("line {}: ", number));
    const char *const by = Interruption::source().by();
    if (status == ExitStatus::ok && by == nullptr)
      continue;
    first = first == ExitStatus::ok ? status : first;
    if (by != nullptr) {
      complain(fmt::format("stopped in line {} by {}", number, by));
      return first == ExitStatus::ok ? ExitStatus::failed : first;
    }
    if (keep_going)
      continue;
    complain(fmt::format("stopped after line {}, which ended with {}; --keep-going goes on", number,
                         static_cast<int>(status)));
    break;
  }
  return first;
}

ExitStatus shell(const ShellOptions &options) {
  if (options.common.shell != nullptr)
    throw InputError("this is a shell already; 'exit' leaves it");
  BenchInUse bench{options.common};
  bench->open();
  OpenShell shell{*bench};
  if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0)
    return run_lines(shell, options.keep_going);
  converse(shell);
  return ExitStatus::ok;
}

}  // namespace

void add_shell(Command &program, Action &action) {
  Command *const command = program.add_command(
      "shell",
      {.summary = "Run commands line after line on one machine",
       .examples = {"mcrhost shell", "mcrhost shell --machine large --state bench.state",
                    "mcrhost shell < bring-up.txt", "echo 'ring show 0x56 --unit cpu:0.0' | mcrhost shell"},
       .paragraphs = {
           fmt::format("Lines are the commands of mcrhost, with or without its name; quotes and \\ are those of other "
                       "shells, # begins a comment.  The options given here hold for all lines.  {}'help', 'exit' and "
                       "Ctrl-D do what they say.",
                       LineEditor::COMPLETES ? "Tab completes commands, options, macros, units, fields, values and "
                                               "files; arrow keys and Ctrl-R bring earlier lines back; "
                                             : ""),
           "At a terminal it ends with 0.  Else it stops at the first line that does not end with 0, and ends as that "
           "did."}});
  const auto options = std::make_shared<ShellOptions>();
  if (program.shell() != nullptr)
    command->hide();
  command->add_flag("--keep-going", options->keep_going,
                    "Where lines do not come from a terminal: go on after one that does not end with 0");
  add_machine_option(*command, options->common);
  add_state_option(*command, options->common);
  add_library_option(*command, options->common);
  add_catalogue_option(*command, options->common);
  command->callback([options, &action] { action = [options] { return shell(*options); }; });
}

void add_shell_commands(Command &program, Action &action) {
  program.add_command(std::string{HELP_COMMAND},
                      {.summary = "Show the commands, or 'help COMMAND' the options of one"});
  for (const char *const name : {"exit", "quit"})
    program.add_command(name, {.summary = "Leave the shell"})->callback([&action, shell = program.shell()] {
      action = [shell] {
        shell->ended = true;
        return ExitStatus::ok;
      };
    });
}

}  // namespace host
