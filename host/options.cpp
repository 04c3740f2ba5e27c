#include "options.hpp"

#include "library.hpp"
#include "scdb/session.hpp"

namespace host {

void add_common_options(CLI::App &command, CommonOptions &options) {
  command
      .add_option(
          "--machine", options.machine,
          "Machine to work on: a description file, or the name of one built in (default: a small simulated server)")
      ->option_text("FILE");
  command
      .add_option("--library", options.libraries,
                  "Macro library, may be repeated (default: $MACRODEBUG_LIBRARY, else the one installed with mcrhost)")
      ->option_text("FILE")
      ->allow_extra_args(false);
  command.add_flag("--json", options.json, "Print one JSON object instead of text");
}

void open(const CommonOptions &options) {
  scdb::attach(scdb::open_machine(options.machine));
  load_libraries(options.libraries);
}

}  // namespace host
