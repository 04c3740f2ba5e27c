#include "host/command/run_options.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/run/library.hpp"
#include "engine/run/trace.hpp"
#include "engine/text/error.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/chips.hpp"

namespace host {
namespace {

Selection raw_selection(const RunOptions &options) {
  Selection selection;
  selection.type = parse_word(options.unit_type, "--unit-type");
  selection.number = parse_word(options.unit_number, "--unit-no");
  const std::vector<macro_word> mring = parse_words(options.mring, "--mring");
  if (mring.size() > selection.mring.size())
    throw InputError(fmt::format("--mring: {} words are given; there is one for each of the boards 0 to {}",
                                 mring.size(), selection.mring.size() - 1));
  std::ranges::copy(mring, selection.mring.begin());
  return selection;
}

/// Whether all chips of a unit belong to one run.
bool run_together(const RunOptions &options, const RunRequest &request) {
  if (options.together || options.each)
    return options.together;
  return request.entry && request.entry->together.with(request.entry->direction(request.rw));
}

/// How often a run is to be made.
macro_word times_of(const RunOptions &options) {
  if (options.repeat.empty())
    return 1;
  const macro_word times = parse_word(options.repeat, "--repeat");
  if (times < 1 || times > REPEAT_LIMIT)
    throw InputError(fmt::format("--repeat: {} is out of range; give 1 to {}", options.repeat, REPEAT_LIMIT));
  return times;
}

void add_unit_options(CLI::App &command, RunOptions &options) {
  command
      .add_option(
          "--unit", options.units,
          fmt::format(
              "Unit to work on, may be repeated: KIND[:BOARDS[.CHIPS]], each a number, a list such as 0,2-3, or "
              "* for all there are; kinds are {}; places are joined by +",
              kinds_of_units()))
      ->option_text("UNIT")
      ->allow_extra_args(false);
  command.add_option("--unit-type", options.unit_type, "The unit in words: _UNIT_TYPE")->option_text("N");
  command.add_option("--unit-no", options.unit_number, "The unit in words: _UNIT_NO, a board mask")->option_text("N");
  command
      .add_option("--mring", options.mring, "The unit in words: _MRING, a word for each board from 0, missing ones 0")
      ->option_text("W...")
      ->delimiter(',');
  CLI::Option *const together = command.add_flag(
      "--together", options.together, "Run on all chips of a unit at once, also a macro that is usually run on each");
  command
      .add_flag("--each", options.each, "Run on each chip of a unit alone, also a macro that usually takes all at once")
      ->excludes(together);
  command.add_flag("--keep-going", options.keep_going, "Go on with the next unit when a run does not go well");
}

void add_word_options(CLI::App &command, RunOptions &options) {
  command
      .add_option("--rw", options.text.rw,
                  "Direction: read (1, the default), write (2), none (-1), a name that the macro has, or a number")
      ->option_text("DIRECTION");
  command
      .add_option("--para", options.text.para,
                  "Words of _PARA, decimal, 0x hexadecimal or negative; missing ones are 0")
      ->option_text("W...")
      ->delimiter(',');
  command.add_option("--data", options.text.data, "First words of _DATA")->option_text("W...")->delimiter(',');
  command
      .add_option("--data-words", options.text.data_words,
                  fmt::format("Size of _DATA in words (default {})", DEFAULT_DATA_WORDS))
      ->option_text("N");
  command
      .add_option("--data-in", options.text.data_in,
                  "File that keeps the first words of _DATA: big-endian, or text where its name ends with .txt")
      ->option_text("FILE");
  command
      .add_option("--data-out", options.data_out,
                  "File to write the words of _DATA to when the run is over; one unit only")
      ->option_text("FILE");
}

void add_check_options(CLI::App &command, RunOptions &options) {
  command
      .add_option("--expect", options.expect,
                  "What the first words of _DATA should be: words, or a file that keeps them; ends with 1 where not")
      ->option_text("FILE|W...")
      ->delimiter(',');
  command
      .add_option("--mask", options.masks,
                  "Bits that --expect compares: one word for all, or one for each (default all)")
      ->option_text("W...")
      ->delimiter(',');
  command
      .add_option("--repeat", options.repeat,
                  "Run so often on each unit, or until a run does not go well; the last one is shown")
      ->option_text("N");
  command.add_flag("--dry-run", options.dry_run,
                   "Run on a copy of the machine, and print every write that would be made; nothing is changed");
  CLI::Option *const restore =
      command.add_flag("--restore-open-rings", options.restore_open_rings,
                       "Put back what rings held that a run left open (default on a simulated machine)");
  command
      .add_flag("--no-restore-open-rings", options.no_restore_open_rings,
                "Leave open rings as they are (default on any other machine)")
      ->excludes(restore);
}

}  // namespace

void add_run_options(CLI::App &command, RunOptions &options) {
  command.add_option("MACRO", options.text.macro, "Name of the macro, or its test number: cp_9A10_0101, 9A10")
      ->option_text("(required)")
      ->required();
  command
      .add_option("FIELD", options.text.fields,
                  "Fields of the parameters by their names: group=2 index=5; 'mcrhost show MACRO' tells them")
      ->option_text("NAME=VALUE...");
  add_unit_options(command, options);
  add_word_options(command, options);
  add_check_options(command, options);
  command.add_flag("--raw", options.raw, "Print _DATA in words, without the names of the catalogue");
  add_catalogue_option(command, options.catalogue);
  command.add_flag(fmt::format("--trace{{{}}}", STANDARD_ERROR), options.trace,
                   "Write a line for every primitive call to standard error, or with --trace=FILE to a file");
  add_timeout_option(command, options.timeout);
  add_progress_option(command, options.progress);
  add_state_option(command, options.common);
  add_common_options(command, options.common);
}

std::vector<Selection> units_of(const RunOptions &options, const RunRequest &request) {
  const bool raw = !options.unit_type.empty() || !options.unit_number.empty() || !options.mring.empty();
  if (!options.units.empty() && raw)
    throw InputError("the unit is given twice: by --unit and by --unit-type, --unit-no, --mring; give one of them");
  if (raw && (options.unit_type.empty() || options.unit_number.empty()))
    throw InputError("a unit in words needs both --unit-type and --unit-no; --mring names its chips");
  if (raw && options.each)
    throw InputError("--each: a unit in words is one run; give the unit with --unit");
  if (raw)
    return {raw_selection(options)};
  if (options.units.empty())
    throw InputError(fmt::format("the unit to run {} on is missing; give it as, for example, --unit {}:0.0",
                                 request.macro->name, scdb::info(kind_of(*request.macro)).name));
  const std::vector<scdb::Chip> chips = scdb::machine().chips();
  std::vector<Selection> units;
  for (const std::string &text : options.units) {
    const Selection unit = parse_selection(text, chips);
    if (run_together(options, request))
      units.push_back(unit);
    else
      std::ranges::copy(single_chips(unit, chips), std::back_inserter(units));
  }
  return units;
}

SeriesRules rules_of(const RunOptions &options) {
  SeriesRules rules;
  rules.expectation = parse_expectation(options.expect, options.masks);
  rules.times = times_of(options);
  rules.keep_going = options.keep_going;
  rules.restore_open_rings =
      options.restore_open_rings || (!options.no_restore_open_rings && scdb::machine().simulated());
  return rules;
}

}  // namespace host
