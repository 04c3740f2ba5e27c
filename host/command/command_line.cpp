#include "host/command/command_line.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "host/command/commands.hpp"
#include "host/command/help.hpp"
#include "host/command/output.hpp"

namespace host {
namespace {

std::string commands_of(const Command &whole) {
  std::string names;
  for (const Command *const command : whole.parts_shown())
    names += fmt::format("{}{}", names.empty() ? "" : ", ", command->get_name());
  return names;
}

[[noreturn]] void refuse(const Command &program, const std::vector<std::string> &words, const CLI::ParseError &error) {
  const std::string_view first = words.empty() ? std::string_view{} : words[0];
  const Command *given = &program;
  std::string name;
  while (const Command *const part = given->part_given()) {
    given = part;
    name += (name.empty() ? "" : " ") + given->get_name();
  }
  if (const std::string parts = commands_of(*given); given != &program && !parts.empty()) {
    const std::string_view second = words.size() > 1 ? words[1] : std::string_view{};
    throw InputError(second.empty() || second.starts_with('-')
                         ? fmt::format("{}: what to do is missing; give {}", name, parts)
                         : fmt::format("{}: there is no '{}'; give {}", name, second, parts));
  }
  if (given != &program)
    throw InputError(fmt::format("{} ('mcrhost {} --help' shows the options)", error.what(), name));
  if (!first.empty() && !first.starts_with('-'))
    throw InputError(fmt::format("there is no command '{}'; the commands are {}", first, commands_of(program)));
  throw InputError(fmt::format("{} ('mcrhost --help' shows the options)", error.what()));
}

/// "help run" is "run --help".
void ask_for_help(const Command &program, std::vector<std::string> &words) {
  words.erase(words.begin());
  const Command *about = &program;
  for (const std::string &word : words) {
    const Command *const command = about->part(word);
    if (command == nullptr)
      throw InputError(fmt::format("help: there is no command '{}'; the commands are {}", word, commands_of(*about)));
    about = command;
  }
  words.emplace_back("--help");
}

}  // namespace

CommandLine::CommandLine(OpenShell *shell)
    : program_{"mcrhost",
               {.summary = "Runs the hardware test and debug macros of a multi-board server.",
                .examples = {"mcrhost list", "mcrhost show cp_9A12_0101", "mcrhost run cp_9A10_0101 --unit cpu:0.0"},
                .paragraphs = {"'mcrhost COMMAND --help' tells more of a command."},
                .endings = Endings{}},
               shell} {
  // A further word is an argument, also where it is the name of a command.
  program_.require_subcommand(0, 1);
  program_.set_version_flag("--version", "mcrhost " MACRODEBUG_VERSION);
  const auto formatter = std::make_shared<HelpFormatter>();
  formatter->column_width(24);
  program_.formatter(formatter);
  add_list(program_, action_);
  add_show(program_, action_);
  add_run(program_, action_);
  add_units(program_, action_);
  add_jtag(program_, action_);
  add_ring(program_, action_);
  add_i2c(program_, action_);
  add_mbc(program_, action_);
  add_plan(program_, action_);
  add_shell(program_, action_);
  add_manual(program_, action_);
  add_reference(program_, action_);
  if (shell == nullptr)
    add_complete(program_, action_);
  else
    add_shell_commands(program_, action_);
}

Action CommandLine::parse(std::vector<std::string> words) {
  if (program_.shell() != nullptr && !words.empty() && words.front() == HELP_COMMAND)
    ask_for_help(program_, words);
  try {
    // The parser takes them from the end.
    program_.parse(std::vector<std::string>{words.rbegin(), words.rend()});
  } catch (const CLI::Success &wanted) {
    std::ostringstream text;
    program_.exit(wanted, text, text);
    return [printed = text.str()] {
      write_output(printed);
      return ExitStatus::ok;
    };
  } catch (const CLI::ParseError &error) {
    refuse(program_, words, error);
  }
  if (!action_)
    throw InputError(fmt::format("a command is missing; the commands are {}", commands_of(program_)));
  return action_;
}

}  // namespace host
