#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "host/command/commands.hpp"
#include "engine/text/file.hpp"
#include "host/command/manual_pages.hpp"
#include "host/command/output.hpp"

namespace host {
namespace {

struct ManualOptions {
  std::string command;
  std::string folder;
};

ExitStatus manual(const std::vector<ManualPage> &pages, const ManualOptions &options) {
  if (!options.folder.empty()) {
    for (const ManualPage &page : pages)
      write_file(fmt::format("{}/{}.1", options.folder, page.name), page.text, "--into");
    return ExitStatus::ok;
  }
  const std::string &program = pages.front().name;
  const std::string name = options.command.empty() ? program : fmt::format("{}-{}", program, options.command);
  const auto page = std::ranges::find(pages, name, &ManualPage::name);
  if (page == pages.end())
    throw InputError(
        fmt::format("there is no manual page of a command '{}'; 'mcrhost --help' shows the commands", options.command));
  write_output(page->text);
  return ExitStatus::ok;
}

}  // namespace

void add_manual(CLI::App &app, Action &action) {
  CLI::App *const command = app.add_subcommand("manual", "Write the manual pages, in the man macros of roff");
  command->group("");
  const auto options = std::make_shared<ManualOptions>();
  command->add_option("COMMAND", options->command, "Command whose page is printed; without it, that of mcrhost")
      ->option_text("");
  command->add_option("--into", options->folder, "Write every page into this folder instead")->option_text("DIR");
  command->footer(
      "Examples:\n"
      "  mcrhost manual run | man -l -\n"
      "  mcrhost manual --into /usr/local/share/man/man1");
  // The command line is gone when the action runs.
  command->callback(
      [&app, options, &action] { action = [pages = manual_of(app), options] { return manual(pages, *options); }; });
}

}  // namespace host
