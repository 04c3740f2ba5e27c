#include <memory>

#include "host/command/command_line.hpp"
#include "host/command/commands.hpp"
#include "host/command/completion.hpp"
#include "host/command/output.hpp"

namespace host {
namespace {

struct CompleteOptions {
  std::string line;
  std::string breaks;
};

ExitStatus complete(const CompleteOptions &options) {
  write_output(lines_for_shell(complete_line(options.line), options.line, options.breaks));
  return ExitStatus::ok;
}

}  // namespace

void add_complete(Command &program, Action &action) {
  Command *const command = program.add_command("complete", {.summary = "Show the ways to go on with a command line"});
  command->hide();
  const auto options = std::make_shared<CompleteOptions>();
  command->add("LINE", options->line, Takes::text, "The line up to the cursor")->required();
  command->add("--breaks", options->breaks, Takes::text, "Characters at which the shell begins a word anew");
  command->callback([options, &action] { action = [options] { return complete(*options); }; });
}

}  // namespace host
