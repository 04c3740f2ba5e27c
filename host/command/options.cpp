#include "host/command/options.hpp"

#include <fmt/format.h>

#include "engine/text/error.hpp"
#include "host/command/trace_file.hpp"
#include "host/shell/line_words.hpp"

namespace host {
namespace {

/// An option that says what to work on.  The lines of a shell all work on the same: there it is hidden and refused.
void of_the_shell(const Command &command, CommonOptions &options, CLI::Option *option) {
  options.shell = command.shell();
  if (options.shell == nullptr)
    return;
  const std::string name = "--" + option->get_lnames().front();
  option->group("")->check([name](const std::string &value) -> std::string {
    throw InputError(
        fmt::format("{0}: a shell keeps to the machine, state and libraries that it was started with; "
                    "leave it and start 'mcrhost shell {0} {1}'",
                    name, quoted_word(value)));
  });
}

}  // namespace

void add_machine_option(Command &command, CommonOptions &options) {
  of_the_shell(
      command, options,
      command.add(
          "--machine", options.machine, Takes::machine,
          "Machine to work on: a description file, or the name of one built in (default: a small simulated server)"));
}

void add_machine_options(Command &command, CommonOptions &options) {
  add_machine_option(command, options);
  command.add_flag("--json", options.json, "Print one JSON object instead of text");
}

void add_library_option(Command &command, CommonOptions &options) {
  of_the_shell(
      command, options,
      command
          .add("--library", options.libraries, Takes::library,
               "Macro library, may be repeated (default: $MACRODEBUG_LIBRARY, else the one installed with mcrhost)")
          ->allow_extra_args(false));
}

void add_common_options(Command &command, CommonOptions &options) {
  add_machine_options(command, options);
  add_library_option(command, options);
}

void add_state_option(Command &command, CommonOptions &options) {
  of_the_shell(
      command, options,
      command.add("--state", options.state, Takes::file,
                  "Go on from the state of the machine that this file keeps, and keep the new one in it; without the "
                  "file the machine is as at power-on"));
}

void add_timeout_option(Command &command, std::string &seconds) {
  command.add("--timeout", seconds, Takes::seconds,
              "Stop at the next primitive call when so many seconds have passed, as Ctrl-C does: 30, 0.5");
}

void add_progress_option(Command &command, std::string &mode) {
  command.add("--progress", mode, one_of({"auto", "json", "none"}),
              "Show how far long work has come: auto (default; a line on standard error when it is a terminal), json "
              "(lines on standard error), none");
}

void add_trace_option(Command &command, std::string &file) {
  command.add_flag_or_file("--trace", STANDARD_ERROR, file,
                           "Write a line for every primitive call to standard error, or with --trace=FILE to a file");
}

void add_catalogue_option(Command &command, CommonOptions &options) {
  options.shell = command.shell();
  command.add("--catalogue", options.catalogue, Takes::catalogue,
              "Folder of catalogue files that say what macros mean (default: built in)");
}

}  // namespace host
