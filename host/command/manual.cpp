#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "engine/text/file.hpp"
#include "host/command/commands.hpp"
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

void add_manual(Command &program, Action &action) {
  Command *const command = program.add_command(
      "manual", {.summary = "Write the manual pages, in the man macros of roff",
                 .examples = {"mcrhost manual run | man -l -", "mcrhost manual --into /usr/local/share/man/man1"}});
  // The command line of a shell is not that of the program.
  if (program.shell() != nullptr)
    command->hide();
  const auto options = std::make_shared<ManualOptions>();
  command->add("COMMAND", options->command, Takes::command,
               "Command whose page is printed; without it, that of mcrhost");
  command->add("--into", options->folder, Takes::folder, "Write every page into this folder instead");
  // The command line is gone when the action runs.
  command->callback([&program, options, &action] {
    action = [pages = manual_of(program), options] { return manual(pages, *options); };
  });
}

}  // namespace host
