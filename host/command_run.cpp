#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "commands.hpp"
#include "library.hpp"
#include "output.hpp"
#include "report.hpp"
#include "trace.hpp"
#include "words.hpp"

namespace host {
namespace {

/// The largest _DATA that can be asked for, in words.
constexpr macro_word DATA_WORDS_LIMIT = macro_word{1} << 24;

/// The command line as it was given.
struct RunOptions {
  CommonOptions common;
  std::string macro;
  std::string unit;
  std::string unit_type;
  std::string unit_number;
  std::vector<std::string> mring;
  std::string rw = "read";
  std::vector<std::string> para;
  std::vector<std::string> data;
  std::string data_words;
  std::string trace;  ///< file; empty = no trace
};

/// Stands for standard error where --trace names no file.
constexpr std::string_view STANDARD_ERROR = "-";

macro_word direction(const std::string &text) {
  if (text == "read")
    return RW_READ;
  if (text == "write")
    return RW_WRITE;
  if (text == "none")
    return RW_NONE;
  try {
    return parse_word(text, "--rw");
  } catch (const InputError &) {
    throw InputError(fmt::format("--rw: '{}' is no direction; give read (1), write (2), none (-1) or a number", text));
  }
}

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

Selection selection(const RunOptions &options, const scdb::Macro &macro) {
  const bool raw = !options.unit_type.empty() || !options.unit_number.empty() || !options.mring.empty();
  if (!options.unit.empty() && raw)
    throw InputError("the unit is given twice: by --unit and by --unit-type, --unit-no, --mring; give one of them");
  if (!options.unit.empty())
    return parse_selection(options.unit, scdb::machine().chips());
  if (!raw)
    throw InputError(fmt::format("the unit to run {} on is missing; give it as, for example, --unit {}:0.0", macro.name,
                                 scdb::info(kind_of(macro)).name));
  if (options.unit_type.empty() || options.unit_number.empty())
    throw InputError("a unit in words needs both --unit-type and --unit-no; --mring names its chips");
  return raw_selection(options);
}

std::size_t data_size(const RunOptions &options, std::size_t given) {
  if (options.data_words.empty())
    return std::max(given, DEFAULT_DATA_WORDS);
  const macro_word words = parse_word(options.data_words, "--data-words");
  if (words == 0 || words > DATA_WORDS_LIMIT)
    throw InputError(
        fmt::format("--data-words: {} is out of range; give 1 to {}", options.data_words, DATA_WORDS_LIMIT));
  if (words < given)
    throw InputError(fmt::format("--data-words: _DATA of {} words does not hold the {} words of --data", words, given));
  return words;
}

RunRequest request(const RunOptions &options) {
  RunRequest request;
  request.macro = &macro_named(options.macro);
  request.unit = selection(options, *request.macro);
  request.rw = direction(options.rw);
  request.para = parse_words(options.para, "--para");
  request.data = parse_words(options.data, "--data");
  request.data_words = data_size(options, request.data.size());
  return request;
}

/// The run, seen by the trace where one is wanted.
RunResult run_traced(const RunRequest &request, Trace *trace) {
  if (trace == nullptr)
    return run_macro(request);
  const scdb::Observing observing{*trace};
  RunResult result = run_macro(request);
  trace->end_run();
  return result;
}

ExitStatus run(const RunOptions &options) {
  open(options.common);
  const RunRequest what = request(options);
  std::optional<Trace> trace;
  if (!options.trace.empty())
    trace.emplace(options.trace == STANDARD_ERROR ? "" : options.trace);
  const RunResult result = run_traced(what, trace ? &*trace : nullptr);
  write_output(options.common.json ? json_report(what, result).dump(2) + "\n" : text_report(what, result));
  if (trace)
    trace->finish();
  return result.ok() ? ExitStatus::ok : ExitStatus::failed;
}

void add_unit_options(CLI::App &command, RunOptions &options) {
  command
      .add_option(
          "--unit", options.unit,
          "Unit to work on: KIND[:BOARDS[.CHIPS]], each a number, a list such as 0,2-3, or * for all there are; "
          "kinds are cpu, mac, sc, xb, ioc, sp; places are joined by +")
      ->option_text("UNIT");
  command.add_option("--unit-type", options.unit_type, "The unit in words: _UNIT_TYPE")->option_text("N");
  command.add_option("--unit-no", options.unit_number, "The unit in words: _UNIT_NO, a board mask")->option_text("N");
  command
      .add_option("--mring", options.mring, "The unit in words: _MRING, a word for each board from 0, missing ones 0")
      ->option_text("W...")
      ->delimiter(',');
}

void add_word_options(CLI::App &command, RunOptions &options) {
  command.add_option("--rw", options.rw, "Direction: read (1, the default), write (2), none (-1) or a number")
      ->option_text("DIRECTION");
  command.add_option("--para", options.para, "Words of _PARA, decimal, 0x hexadecimal or negative; missing ones are 0")
      ->option_text("W...")
      ->delimiter(',');
  command.add_option("--data", options.data, "First words of _DATA")->option_text("W...")->delimiter(',');
  command
      .add_option("--data-words", options.data_words,
                  fmt::format("Size of _DATA in words (default {})", DEFAULT_DATA_WORDS))
      ->option_text("N");
}

}  // namespace

void add_run(CLI::App &app, Action &action) {
  CLI::App *const command = app.add_subcommand("run", "Run a macro on a unit and print what it found");
  const auto options = std::make_shared<RunOptions>();
  command->add_option("MACRO", options->macro, "Name of the macro, or its test number: cp_9A10_0101, 9A10")
      ->option_text("(required)")
      ->required();
  add_unit_options(*command, *options);
  add_word_options(*command, *options);
  command->add_flag(fmt::format("--trace{{{}}}", STANDARD_ERROR), options->trace,
                    "Write a line for every primitive call to standard error, or with --trace=FILE to a file");
  add_common_options(*command, options->common);
  command->footer(
      "Examples:\n"
      "  mcrhost run cp_9A10_0101 --unit cpu:0.1\n"
      "  mcrhost run cp_9A12_0101 --unit cpu:0.0 --rw write --para 0x0D --data 0x12345\n"
      "  mcrhost run 9A11 --unit 'cpu:*' --machine dead-chip --json\n"
      "  mcrhost run cp_9A20_0101 --unit cpu:0.0 --para 0x10000001 --trace=calls.txt\n"
      "\n"
      "Ends with 0 when the macro ended without failure, 1 when it failed, 2 for wrong usage.");
  command->callback([options, &action] { action = [options] { return run(*options); }; });
}

}  // namespace host
