#include "host/command/run_options.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "engine/run/library.hpp"
#include "engine/text/error.hpp"
#include "engine/text/word_file.hpp"
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

/// What begins as no number does is the name of a file.
bool names_file(const std::vector<std::string> &texts) {
  return texts.size() == 1 && !texts[0].empty() && texts[0][0] != '-'
         && std::isdigit(static_cast<unsigned char>(texts[0][0])) == 0;
}

Expectation expectation_of(const RunOptions &options) {
  Expectation expectation;
  expectation.words =
      names_file(options.expect) ? read_words(options.expect[0], "--expect") : parse_words(options.expect, "--expect");
  if (expectation.words.empty() && !options.expect.empty())
    throw InputError(fmt::format("--expect: '{}' keeps no words", options.expect[0]));
  if (expectation.words.empty() && !options.masks.empty())
    throw InputError("--mask: there is nothing to compare; give --expect too");
  expectation.masks = masks_for(parse_words(options.masks, "--mask"), expectation.words.size());
  return expectation;
}

/// A number from 1 to a limit; complaints show it as it was typed.
macro_word number_up_to(macro_word limit, const std::string &text, std::string_view option) {
  const macro_word number = parse_word(text, option);
  if (number < 1 || number > limit)
    throw InputError(fmt::format("{}: {} is out of range; give 1 to {}", option, text, limit));
  return number;
}

/// How often a run is to be made.
macro_word times_of(const RunOptions &options) {
  return options.repeat.empty() ? 1 : number_up_to(REPEAT_LIMIT, options.repeat, "--repeat");
}

void add_unit_options(Command &command, RunOptions &options) {
  command
      .add("--unit", options.units, Takes::unit,
           fmt::format(
               "Unit to work on, may be repeated: KIND[:BOARDS[.CHIPS]], each a number, a list such as 0,2-3, or "
               "* for all there are; kinds are {}; places are joined by +",
               kinds_of_units()))
      ->allow_extra_args(false);
  command.add("--unit-type", options.unit_type, Takes::number, "The unit in words: _UNIT_TYPE");
  command.add("--unit-no", options.unit_number, Takes::number, "The unit in words: _UNIT_NO, a board mask");
  command
      .add("--mring", options.mring, Takes::word,
           "The unit in words: _MRING, a word for each board from 0, missing ones 0")
      ->delimiter(',');
  CLI::Option *const together = command.add_flag(
      "--together", options.together, "Run on all chips of a unit at once, also a macro that is usually run on each");
  command
      .add_flag("--each", options.each, "Run on each chip of a unit alone, also a macro that usually takes all at once")
      ->excludes(together);
  command.add_flag("--keep-going", options.keep_going, "Go on with the next unit when a run does not go well");
}

void add_word_options(Command &command, RunOptions &options) {
  command.add("--rw", options.rw, Takes::direction,
              "Direction: read (1, the default), write (2), none (-1), a name that the macro has, or a number");
  command
      .add("--para", options.para, Takes::word,
           "Words of _PARA, decimal, 0x hexadecimal or negative; missing ones are 0")
      ->delimiter(',');
  command.add("--data", options.data, Takes::word, "First words of _DATA")->delimiter(',');
  command.add("--data-words", options.data_words, Takes::number,
              fmt::format("Size of _DATA in words (default: what the macro uses; {} where that is not known)",
                          DEFAULT_DATA_WORDS));
  command.add("--data-in", options.data_in, Takes::file,
              "File that keeps the first words of _DATA: big-endian, or text where its name ends with .txt");
  command.add("--data-out", options.data_out, Takes::file,
              "File to write the words of _DATA to when the run is over; one unit only");
}

void add_check_options(Command &command, RunOptions &options) {
  command
      .add("--expect", options.expect, Takes::file_or_words,
           "What the first words of _DATA should be: words, or a file that keeps them; ends with 1 where not")
      ->delimiter(',');
  command
      .add("--mask", options.masks, Takes::word,
           "Bits that --expect compares: one word for all, or one for each (default all)")
      ->delimiter(',');
  command.add("--repeat", options.repeat, Takes::number,
              "Run so often on each unit, or until a run does not go well; the last one is shown");
  command.add_flag("--dry-run", options.dry_run,
                   "Run on a copy of the machine, and print every write that would be made; nothing is changed");
  CLI::Option *const restore =
      command.add_flag("--restore-open-rings", options.restore_open_rings,
                       "Put back what rings held that a run left open (default on a simulated machine)");
  command
      .add_flag("--keep-open-rings,--no-restore-open-rings", options.keep_open_rings,
                "Leave rings that a run left open as they are, for the next one")
      ->excludes(restore);
}

}  // namespace

void add_run_options(Command &command, RunOptions &options) {
  command.add("MACRO", options.macro, Takes::macro, "Name of the macro, or its test number: cp_9A10_0101, 9A10")
      ->required();
  command.add("FIELD", options.fields, Takes::field,
              "Fields of the parameters by their names: group=2 index=5; 'mcrhost show MACRO' tells them");
  add_unit_options(command, options);
  add_word_options(command, options);
  add_check_options(command, options);
  command.add_flag("--raw", options.raw, "Print _DATA in words, without the names of the catalogue");
  add_catalogue_option(command, options.common);
  add_trace_option(command, options.trace);
  add_timeout_option(command, options.timeout);
  add_progress_option(command, options.progress);
  add_state_option(command, options.common);
  add_common_options(command, options.common);
}

RunOrder order_of(const RunOptions &options) {
  RunOrder order;
  order.macro = options.macro;
  if (!options.rw.empty())
    order.direction = options.rw;
  for (const std::string &text : options.fields) {
    const std::size_t sign = text.find('=');
    if (sign == std::string::npos || sign == 0)
      throw InputError(fmt::format("'{}' gives no field; write NAME=VALUE", text));
    order.fields.push_back({text.substr(0, sign), text.substr(sign + 1)});
  }
  order.para = parse_words(options.para, "--para");
  order.data = parse_words(options.data, "--data");
  if (!options.data_in.empty()) {
    if (!order.data.empty())
      throw InputError("the words of _DATA are given twice: by --data and by --data-in; give one of them");
    order.data = read_words(options.data_in, "--data-in");
    if (order.data.size() > DATA_WORDS_LIMIT)
      throw InputError(fmt::format("--data-in: '{}' keeps {} words; _DATA takes up to {}", options.data_in,
                                   order.data.size(), DATA_WORDS_LIMIT));
  }
  if (!options.data_words.empty())
    order.data_words = number_up_to(DATA_WORDS_LIMIT, options.data_words, "--data-words");
  order.rings = options.restore_open_rings ? OpenRings::restore
                : options.keep_open_rings  ? OpenRings::keep
                                           : OpenRings::usual;
  return order;
}

std::vector<Selection> units_of(const RunOptions &options, const RunRequest &request, Bench &bench) {
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
  const std::vector<scdb::Chip> &chips = bench.chips();
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
  rules.expectation = expectation_of(options);
  rules.times = times_of(options);
  rules.keep_going = options.keep_going;
  return rules;
}

}  // namespace host
