#include "options.hpp"

#include "library.hpp"
#include "scdb/session.hpp"
#include "state.hpp"

namespace host {

void add_machine_options(CLI::App &command, CommonOptions &options) {
  command
      .add_option(
          "--machine", options.machine,
          "Machine to work on: a description file, or the name of one built in (default: a small simulated server)")
      ->option_text("FILE");
  command.add_flag("--json", options.json, "Print one JSON object instead of text");
}

void add_library_option(CLI::App &command, CommonOptions &options) {
  command
      .add_option("--library", options.libraries,
                  "Macro library, may be repeated (default: $MACRODEBUG_LIBRARY, else the one installed with mcrhost)")
      ->option_text("FILE")
      ->allow_extra_args(false);
}

void add_common_options(CLI::App &command, CommonOptions &options) {
  add_machine_options(command, options);
  add_library_option(command, options);
}

void add_state_option(CLI::App &command, CommonOptions &options) {
  command
      .add_option("--state", options.state,
                  "Go on from the state of the machine that this file keeps, and keep the new one in it; without the "
                  "file the machine is as at power-on")
      ->option_text("FILE");
}

void add_timeout_option(CLI::App &command, std::string &seconds) {
  command
      .add_option("--timeout", seconds,
                  "Stop at the next primitive call when so many seconds have passed, as Ctrl-C does: 30, 0.5")
      ->option_text("SECONDS");
}

void add_progress_option(CLI::App &command, std::string &mode) {
  command
      .add_option(
          "--progress", mode,
          "Show how far long work has come: auto (default; a line on standard error when it is a terminal), json "
          "(lines on standard error), none")
      ->option_text("auto|json|none");
}

void add_catalogue_option(CLI::App &command, std::string &folder) {
  command.add_option("--catalogue", folder, "Folder of catalogue files that say what macros mean (default: built in)")
      ->option_text("DIR");
}

void open_machine(const CommonOptions &options) {
  scdb::attach(scdb::open_machine(options.machine));
  if (!options.state.empty())
    load_state(options.state);
}

void open(const CommonOptions &options) {
  open_machine(options);
  load_libraries(options.libraries);
}

}  // namespace host
