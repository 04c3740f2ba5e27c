#include "host/command/command_line.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "host/command/commands.hpp"
#include "host/command/help.hpp"
#include "host/command/output.hpp"
#include "host/command/session.hpp"

namespace host {
namespace {

std::string commands_of(const CLI::App &app) {
  std::string names;
  for (const CLI::App *command : commands_shown(app))
    names += fmt::format("{}{}", names.empty() ? "" : ", ", command->get_name());
  return names;
}

[[noreturn]] void refuse(const CLI::App &app, const std::vector<std::string> &words, const CLI::ParseError &error) {
  const std::string_view first = words.empty() ? std::string_view{} : words[0];
  const CLI::App *given = &app;
  std::string name;
  while (!given->get_subcommands().empty()) {
    given = given->get_subcommands().front();
    name += (name.empty() ? "" : " ") + given->get_name();
  }
  if (const std::string parts = commands_of(*given); given != &app && !parts.empty()) {
    const std::string_view second = words.size() > 1 ? words[1] : std::string_view{};
    throw InputError(second.empty() || second.starts_with('-')
                         ? fmt::format("{}: what to do is missing; give {}", name, parts)
                         : fmt::format("{}: there is no '{}'; give {}", name, second, parts));
  }
  if (given != &app)
    throw InputError(fmt::format("{} ('mcrhost {} --help' shows the options)", error.what(), name));
  if (!first.empty() && !first.starts_with('-'))
    throw InputError(fmt::format("there is no command '{}'; the commands are {}", first, commands_of(app)));
  throw InputError(fmt::format("{} ('mcrhost --help' shows the options)", error.what()));
}

/// "help run" is "run --help".
void ask_for_help(const CLI::App &app, std::vector<std::string> &words) {
  words.erase(words.begin());
  const CLI::App *about = &app;
  for (const std::string &word : words) {
    const CLI::App *const command = subcommand(*about, word);
    if (command == nullptr)
      throw InputError(fmt::format("help: there is no command '{}'; the commands are {}", word, commands_of(*about)));
    about = command;
  }
  words.emplace_back("--help");
}

}  // namespace

CommandLine::CommandLine() : app_{"Runs the hardware test and debug macros of a multi-board server.", "mcrhost"} {
  // A further word is an argument, also where it is the name of a command.
  app_.require_subcommand(0, 1);
  app_.set_version_flag("--version", "mcrhost " MACRODEBUG_VERSION);
  const auto formatter = std::make_shared<HelpFormatter>();
  formatter->column_width(24);
  app_.formatter(formatter);
  app_.footer(
      "Examples:\n"
      "  mcrhost list\n"
      "  mcrhost show cp_9A12_0101\n"
      "  mcrhost run cp_9A10_0101 --unit cpu:0.0\n"
      "\n"
      "'mcrhost COMMAND --help' tells more of a command.");
  add_list(app_, action_);
  add_show(app_, action_);
  add_run(app_, action_);
  add_units(app_, action_);
  add_jtag(app_, action_);
  add_ring(app_, action_);
  add_i2c(app_, action_);
  add_mbc(app_, action_);
  add_plan(app_, action_);
  add_shell(app_, action_);
  add_manual(app_, action_);
  add_reference(app_, action_);
  if (session() == nullptr)
    add_complete(app_, action_);
  else
    add_session_commands(app_, action_);
}

Action CommandLine::parse(std::vector<std::string> words) {
  if (session() != nullptr && !words.empty() && words.front() == HELP_COMMAND)
    ask_for_help(app_, words);
  try {
    // The parser takes them from the end.
    app_.parse(std::vector<std::string>{words.rbegin(), words.rend()});
  } catch (const CLI::Success &wanted) {
    std::ostringstream text;
    app_.exit(wanted, text, text);
    return [printed = text.str()] {
      write_output(printed);
      return ExitStatus::ok;
    };
  } catch (const CLI::ParseError &error) {
    refuse(app_, words, error);
  }
  if (!action_)
    throw InputError(fmt::format("a command is missing; the commands are {}", commands_of(app_)));
  return action_;
}

const CLI::App *subcommand(const CLI::App &app, const std::string &name) {
  const auto all = app.get_subcommands([](const CLI::App *) { return true; });
  const auto found = std::ranges::find(all, name, [](const CLI::App *command) { return command->get_name(); });
  return found == all.end() ? nullptr : *found;
}

}  // namespace host
