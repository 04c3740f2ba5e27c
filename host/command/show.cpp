#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "engine/report/entry_page.hpp"
#include "engine/run/library.hpp"
#include "host/command/commands.hpp"
#include "host/command/option_names.hpp"
#include "host/command/output.hpp"
#include "scdb/session.hpp"

namespace host {
namespace {

struct ShowOptions {
  CommonOptions common;
  std::string macro;
};

ExitStatus show(const ShowOptions &options) {
  BenchInUse bench{options.common};
  bench->macros();
  const scdb::Macro &macro = macro_named(options.macro);
  const std::shared_ptr<const MacroEntry> entry = bench.catalogue().find(macro.name);
  if (!entry)
    throw InputError(fmt::format("the catalogue does not know {}", macro.name));
  write_output(options.common.json ? json_of(*entry, macro, option_name).dump(2) + "\n"
                                   : page_of(*entry, macro, option_name));
  return ExitStatus::ok;
}

}  // namespace

void add_show(Command &program, Action &action) {
  Command *const command =
      program.add_command("show", {.summary = "Show what a macro does, takes and gives",
                                   .examples = {"mcrhost show cp_9A12_0101", "mcrhost show 9A12 --json"}});
  const auto options = std::make_shared<ShowOptions>();
  command->add("MACRO", options->macro, Takes::macro, "Name of the macro, or its test number: cp_9A10_0101, 9A10")
      ->required();
  add_library_option(*command, options->common);
  command->add_flag("--json", options->common.json, "Print one JSON object instead of text");
  add_catalogue_option(*command, options->common);
  command->callback([options, &action] { action = [options] { return show(*options); }; });
}

}  // namespace host
