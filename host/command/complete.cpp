#include <fmt/format.h>

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

/// Writes each way to go on with a line to a line of its own, with a blank at the end of a finished word.
ExitStatus complete(const CompleteOptions &options) {
  const LineCompletion completion = complete_line(options.line);
  // What the other shell takes for the word may begin further on.
  const std::string_view typed = std::string_view{options.line}.substr(completion.start);
  const std::size_t known = typed.find_last_of(options.breaks) + 1;
  std::string text;
  for (const Candidate &candidate : completion.candidates)
    if (candidate.text.starts_with(typed.substr(0, known)))
      text += fmt::format("{}{}\n", std::string_view{candidate.text}.substr(known), candidate.finished ? " " : "");
  write_output(text);
  return ExitStatus::ok;
}

}  // namespace

void add_complete(CLI::App &app, Action &action) {
  CLI::App *const command = app.add_subcommand("complete", "Show the ways to go on with a command line");
  command->group("");
  const auto options = std::make_shared<CompleteOptions>();
  command->add_option("LINE", options->line, "The line up to the cursor")->required();
  command->add_option("--breaks", options->breaks, "Characters at which the shell begins a word anew");
  command->callback([options, &action] { action = [options] { return complete(*options); }; });
}

}  // namespace host
