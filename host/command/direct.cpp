#include "host/command/direct.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <optional>

#include "engine/report/access_report.hpp"
#include "engine/report/run_report.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/chips.hpp"
#include "host/command/interruption.hpp"
#include "host/command/output.hpp"
#include "host/command/progress.hpp"
#include "host/command/trace_file.hpp"
#include "scdb/session.hpp"

namespace host {
namespace {

/// The chips that --unit names.
std::vector<scdb::Chip> chips_of(const DirectOptions &options, std::span<const scdb::Chip> existing, Chips how_many) {
  const Selection unit = parse_selection(options.unit, existing);
  std::vector<scdb::Chip> chips;
  for (const scdb::Chip chip : existing)
    if (selects(unit, chip))
      chips.push_back(chip);
  if (how_many == Chips::one && chips.size() != 1)
    throw InputError(fmt::format("--unit: {} names {} chips, and this takes one; give for example {}", options.unit,
                                 chips.size(), scdb::to_string(chips.front())));
  return chips;
}

}  // namespace

void add_direct_options(Command &command, DirectOptions &options) {
  command
      .add(
          "--unit", options.unit, Takes::unit,
          fmt::format("Chips to access, one after another: KIND[:BOARDS[.CHIPS]], each a number, a list such as 0,2-3, "
                      "or * for all there are; kinds are {}",
                      kinds_of_units()))
      ->required();
  add_trace_option(command, options.trace);
  add_timeout_option(command, options.timeout);
  add_progress_option(command, options.progress);
  add_state_option(command, options.common);
  add_machine_options(command, options.common);
}

ExitStatus access_chips(const DirectOptions &options, const std::string &title, const ChipAccess &access,
                        Chips how_many) {
  const std::optional<StopToken::Duration> limit = parse_time_limit(options.timeout, "--timeout");
  const ProgressMode progress_mode = parse_progress_mode(options.progress, options.trace == STANDARD_ERROR);
  BenchInUse bench{options.common};
  const std::vector<scdb::Chip> chips = chips_of(options, bench->chips(), how_many);
  std::optional<TraceFile> trace;
  if (!options.trace.empty())
    trace.emplace(options.trace);

  Progress progress{progress_mode, {title, chips.size(), {}}};
  const scdb::Observing counting{progress};
  const Interruption interruption;
  StopToken stop{&Interruption::source(), limit};
  const AccessResult result = access_chips(*bench, chips, access, stop, [&] { progress.end_run(); });
  progress.finish();
  bench->keep_state();
  const MachineInfo &machine = bench->machine_info();
  write_output(options.common.json ? json_access_report(title, result, machine).dump(2) + "\n"
                                   : access_report(title, result, machine));
  if (trace)
    trace->finish();
  return result.all_went_well() ? ExitStatus::ok : ExitStatus::failed;
}

macro_word parse_in_range(std::string_view text, std::string_view what, macro_word least, macro_word most) {
  const macro_word word = parse_word(text, what);
  // The range is told as the number was given.
  if (word < least || word > most)
    throw InputError(text.starts_with("0x")
                         ? fmt::format("{}: {} is out of range; give 0x{:X} to 0x{:X}", what, text, least, most)
                         : fmt::format("{}: {} is out of range; give {} to {}", what, text, least, most));
  return word;
}

}  // namespace host
