#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <span>
#include <sstream>

#include "commands.hpp"
#include "help.hpp"
#include "output.hpp"

namespace host {
namespace {

void complain(std::string_view message) {
  fmt::print(stderr, "mcrhost: {}\n", message);
}

std::string commands_of(const CLI::App &app) {
  std::string names;
  for (const CLI::App *command : commands_shown(app))
    names += fmt::format("{}{}", names.empty() ? "" : ", ", command->get_name());
  return names;
}

/// @param arguments  those of the program.
[[noreturn]] void refuse(const CLI::App &app, std::span<char *> arguments, const CLI::ParseError &error) {
  const std::string_view first = arguments.empty() ? std::string_view{} : arguments[0];
  const CLI::App *given = &app;
  std::string name;
  while (!given->get_subcommands().empty()) {
    given = given->get_subcommands().front();
    name += (name.empty() ? "" : " ") + given->get_name();
  }
  if (const std::string parts = commands_of(*given); given != &app && !parts.empty()) {
    const std::string_view second = arguments.size() > 1 ? arguments[1] : std::string_view{};
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

/// What the command line asks for; nothing where help or the version was wanted and has been printed.
/// @throw InputError
Action parse(int argc, char **argv) {
  CLI::App app{"Runs the hardware test and debug macros of a multi-board server.", "mcrhost"};
  app.set_version_flag("--version", "mcrhost " MCRHOST_VERSION);
  const auto formatter = std::make_shared<HelpFormatter>();
  formatter->column_width(24);
  app.formatter(formatter);
  app.footer(
      "Examples:\n"
      "  mcrhost list\n"
      "  mcrhost show cp_9A12_0101\n"
      "  mcrhost run cp_9A10_0101 --unit cpu:0.0\n"
      "\n"
      "'mcrhost COMMAND --help' tells more of a command.");
  Action action;
  add_list(app, action);
  add_show(app, action);
  add_run(app, action);
  add_units(app, action);
  add_jtag(app, action);
  add_ring(app, action);
  add_i2c(app, action);
  add_mbc(app, action);
  add_manual(app, action);
  add_reference(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &wanted) {
    std::ostringstream text;
    app.exit(wanted, text, text);
    write_output(text.str());
    return [] { return ExitStatus::ok; };
  } catch (const CLI::ParseError &error) {
    refuse(app, {argv + 1, argv + argc}, error);
  }
  if (!action)
    throw InputError(fmt::format("a command is missing; the commands are {}", commands_of(app)));
  return action;
}

}  // namespace
}  // namespace host

int main(int argc, char **argv) {
  try {
    return static_cast<int>(host::parse(argc, argv)());
  } catch (const std::exception &error) {
    host::complain(error.what());
    return static_cast<int>(host::ExitStatus::usage);
  }
}
