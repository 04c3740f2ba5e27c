#include "host/command/direct.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "engine/report/run_report.hpp"
#include "engine/run/stop.hpp"
#include "engine/run/trace.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/chips.hpp"
#include "host/command/output.hpp"
#include "host/command/progress.hpp"
#include "host/command/state.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

/// What came of the access to one chip.
struct ChipResult {
  scdb::Chip chip{};
  Answer answer;
  std::optional<scdb::Failure> failure;
};

/// The chips that --unit names.
std::vector<scdb::Chip> chips_of(const DirectOptions &options, Chips how_many) {
  const std::vector<scdb::Chip> existing = scdb::machine().chips();
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

ChipResult access_chip(scdb::Chip chip, const ChipAccess &access) {
  ChipCall call{.chip = chip, .unit = {}};
  call.unit.type = scdb::unit_type_of(chip.kind);
  call.unit.number = macro_word{1} << chip.board;
  call.unit.mring[chip.board] = scdb::chip_bit(chip.kind, chip.number);
  scdb::begin_run();
  ChipResult result{chip, access(call), {}};
  if (!succeeded())
    result.failure = scdb::read_failure(call.record);
  return result;
}

/// A chip's words: on its line where they are few, else in rows below it, each with the index of its first word.
std::string lines_of_answer(const Answer &answer) {
  if (answer.words.empty())
    return fmt::format("  {}\n", answer.done);
  std::string text;
  for (std::size_t i = 0; i < answer.words.size(); ++i)
    if (!answer.names.empty())
      text += fmt::format("\n  {:<12}{}", answer.names[i], hex(answer.words[i]));
    else if (answer.words.size() > WORDS_A_ROW && i % WORDS_A_ROW == 0)
      text += fmt::format("\n{:6}  {}", i, hex(answer.words[i]));
    else
      text += "  " + hex(answer.words[i]);
  return text + "\n";
}

/// @param stop  why not every chip was accessed, empty when all were.
bool all_went_well(const std::vector<ChipResult> &results, const std::string &stop) {
  return stop.empty()
         && std::ranges::none_of(results, [](const ChipResult &result) { return result.failure.has_value(); });
}

std::string text_report(const std::string &title, const std::vector<ChipResult> &results, const std::string &stop) {
  std::string text = fmt::format("{}  on {}\n", title, label_of(current_machine()));
  for (const ChipResult &result : results)
    text += scdb::to_string(result.chip)
            + (result.failure ? fmt::format("  failed: {}\n", scdb::describe(*result.failure))
                              : lines_of_answer(result.answer));
  return stop.empty() ? text : text + stop + "\n";
}

Json json_of(const scdb::Failure &failure) {
  return {{"class", scdb::title_of(scdb::class_of(failure.outcome.reason))},
          {"primitive", scdb::name_of(failure.primitive)},
          {"code", hex(failure.code)},
          {"reason", scdb::title_of(failure.outcome.reason)},
          {"text", scdb::describe(failure)}};
}

Json json_report(const std::string &title, const std::vector<ChipResult> &results, const std::string &stop) {
  Json chips = Json::array();
  for (const ChipResult &result : results) {
    Json words = Json::array();
    if (!result.failure)
      for (const macro_word word : result.answer.words)
        words.push_back(hex(word));
    Json chip{{"chip", scdb::to_string(result.chip)}, {"ok", !result.failure}, {"words", std::move(words)}};
    if (!result.answer.names.empty())
      chip["names"] = result.answer.names;
    chip["failure"] = result.failure ? json_of(*result.failure) : Json(nullptr);
    chips.push_back(std::move(chip));
  }
  return {{"access", title},
          {"machine", json_of(current_machine())},
          {"ok", all_went_well(results, stop)},
          {"stopped", stop.empty() ? Json(nullptr) : Json(stop)},
          {"chips", std::move(chips)}};
}

}  // namespace

void add_direct_options(CLI::App &command, DirectOptions &options) {
  command
      .add_option(
          "--unit", options.unit,
          fmt::format("Chips to access, one after another: KIND[:BOARDS[.CHIPS]], each a number, a list such as 0,2-3, "
                      "or * for all there are; kinds are {}",
                      kinds_of_units()))
      ->option_text("UNIT (required)")
      ->required();
  command.add_flag(fmt::format("--trace{{{}}}", STANDARD_ERROR), options.trace,
                   "Write a line for every primitive call to standard error, or with --trace=FILE to a file");
  add_timeout_option(command, options.timeout);
  add_progress_option(command, options.progress);
  add_state_option(command, options.common);
  add_machine_options(command, options.common);
}

bool succeeded() {
  return _RETURN != MACRO_FAILED;
}

ExitStatus access_chips(const DirectOptions &options, const std::string &title, const ChipAccess &access,
                        Chips how_many) {
  const std::optional<Interruption::Duration> limit = parse_time_limit(options.timeout, "--timeout");
  const ProgressMode progress_mode = parse_progress_mode(options.progress, options.trace == STANDARD_ERROR);
  open_machine(options.common);
  const std::vector<scdb::Chip> chips = chips_of(options, how_many);
  std::optional<Trace> trace;
  std::optional<scdb::Observing> observing;
  if (!options.trace.empty())
    observing.emplace(trace.emplace(options.trace == STANDARD_ERROR ? "" : options.trace));

  Progress progress{progress_mode, {title, chips.size(), {}}};
  const scdb::Observing counting{progress};
  Interruption interruption{limit};
  const scdb::Observing interrupting{interruption};
  std::vector<ChipResult> results;
  for (const scdb::Chip chip : chips) {
    results.push_back(access_chip(chip, access));
    if (interruption.stopped())
      break;
    progress.end_run();
  }
  progress.finish();
  // A chip whose access was cut short has been counted among the results.
  const std::size_t accessed = results.size() - (interruption.refused() > 0 ? 1 : 0);
  const std::string stop = accessed < chips.size() ? fmt::format("stopped by {}: {} of {} chips accessed",
                                                                 interruption.by(), accessed, chips.size())
                                                   : std::string{};
  save_state(options.common.state);
  write_output(options.common.json ? json_report(title, results, stop).dump(2) + "\n"
                                   : text_report(title, results, stop));
  if (trace)
    trace->finish();
  return all_went_well(results, stop) ? ExitStatus::ok : ExitStatus::failed;
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
