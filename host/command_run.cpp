#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "commands.hpp"
#include "dry_run.hpp"
#include "expectation.hpp"
#include "library.hpp"
#include "output.hpp"
#include "report.hpp"
#include "request.hpp"
#include "state.hpp"
#include "trace.hpp"
#include "word_file.hpp"
#include "words.hpp"

namespace host {
namespace {

/// The command line as it was given.
struct RunOptions {
  CommonOptions common;
  std::string catalogue;
  RunText text;
  std::string unit;
  std::string unit_type;
  std::string unit_number;
  std::vector<std::string> mring;
  std::string trace;  ///< file; empty = no trace
  bool raw = false;
  bool dry_run = false;
  std::string repeat;
  std::vector<std::string> expect;
  std::vector<std::string> masks;
  std::string data_out;
};

/// Stands for standard error where --trace names no file.
constexpr std::string_view STANDARD_ERROR = "-";

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

RunRequest request(const RunOptions &options) {
  RunRequest request = make_request(options.text, Catalogue{options.catalogue});
  request.unit = selection(options, *request.macro);
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

/// How often a run is to be made.
macro_word times(const RunOptions &options) {
  if (options.repeat.empty())
    return 1;
  const macro_word times = parse_word(options.repeat, "--repeat");
  if (times < 1 || times > REPEAT_LIMIT)
    throw InputError(fmt::format("--repeat: {} is out of range; give 1 to {}", options.repeat, REPEAT_LIMIT));
  return times;
}

/// All that came of the runs of one command.
struct RunOutcome {
  RunResult last;
  Comparison comparison;
  macro_word made = 0;                ///< runs
  bool good = false;                  ///< whether all of them went well, found nothing and met the expectation
  std::vector<PlannedWrite> planned;  ///< of a dry run
};

/// Runs as often as asked for, or until a run does not go well.
RunOutcome run_repeatedly(const RunRequest &request, const Expectation &expectation, macro_word times, Trace *trace) {
  RunOutcome outcome;
  do {
    outcome.last = run_traced(request, trace);
    ++outcome.made;
    outcome.comparison = compare(expectation, request, outcome.last);
    outcome.good = outcome.last.ok() && findings_of(request, outcome.last).empty() && !outcome.comparison.first;
  } while (outcome.good && outcome.made < times);
  return outcome;
}

/// Keeps what the run has made of the machine.  After a macro that crashed inside a primitive the simulated machine may
/// be halfway through an access: the file stays as it was, and that is said.
void keep_state(const std::string &path, const RunResult &run) {
  const bool halfway = run.crash && run.crash->position.number != 0 && !run.crash->position.finished;
  if (!halfway)
    save_state(path);
  else if (!path.empty())
    fmt::print(stderr, "mcrhost: --state: '{}' stays as it was, because the macro crashed inside a primitive\n", path);
}

std::string text_of(const RunOptions &options, const RunRequest &request, const RunOutcome &outcome) {
  std::string text;
  if (options.dry_run)
    text += fmt::format("dry run: nothing is changed; {} {} would be made\n{}", outcome.planned.size(),
                        outcome.planned.size() == 1 ? "write" : "writes", text_of(outcome.planned));
  text += text_report(request, outcome.last, options.raw);
  if (!options.expect.empty())
    text += text_of(outcome.comparison);
  if (!options.repeat.empty())
    text += fmt::format("repeat: {} of {} runs made, {}\n", outcome.made, times(options),
                        outcome.good ? "all went well" : "the last did not go well");
  return text;
}

nlohmann::ordered_json json_of(const RunOptions &options, const RunRequest &request, const RunOutcome &outcome) {
  nlohmann::ordered_json json = json_report(request, outcome.last);
  if (options.dry_run)
    json["dry_run"] = {{"writes", json_of(outcome.planned)}};
  if (!options.expect.empty())
    json["expect"] = json_of(outcome.comparison);
  if (!options.repeat.empty())
    json["repeat"] = {{"asked", times(options)}, {"made", outcome.made}, {"good", outcome.good}};
  return json;
}

ExitStatus run(const RunOptions &options) {
  open(options.common);
  const RunRequest what = request(options);
  const Expectation expectation = parse_expectation(options.expect, options.masks);
  const macro_word runs = times(options);
  std::optional<Trace> trace;
  if (!options.trace.empty())
    trace.emplace(options.trace == STANDARD_ERROR ? "" : options.trace);
  std::optional<DryRun> dry_run;
  if (options.dry_run)
    dry_run.emplace();

  RunOutcome outcome = run_repeatedly(what, expectation, runs, trace ? &*trace : nullptr);
  if (!options.data_out.empty())
    write_words(options.data_out, data_words(what, outcome.last), "--data-out");
  if (dry_run)
    outcome.planned = dry_run->writes();
  else
    keep_state(options.common.state, outcome.last);
  write_output(options.common.json ? json_of(options, what, outcome).dump(2) + "\n" : text_of(options, what, outcome));
  if (trace)
    trace->finish();
  return outcome.good ? ExitStatus::ok : ExitStatus::failed;
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
  command.add_option("--data-out", options.data_out, "File to write the words of _DATA to when the run is over")
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
      .add_option("--repeat", options.repeat, "Run so often, or until a run does not go well; the last one is shown")
      ->option_text("N");
  command.add_flag("--dry-run", options.dry_run,
                   "Run on a copy of the machine, and print every write that would be made; nothing is changed");
}

}  // namespace

void add_run(CLI::App &app, Action &action) {
  CLI::App *const command = app.add_subcommand("run", "Run a macro on a unit and print what it found");
  const auto options = std::make_shared<RunOptions>();
  command->add_option("MACRO", options->text.macro, "Name of the macro, or its test number: cp_9A10_0101, 9A10")
      ->option_text("(required)")
      ->required();
  command
      ->add_option("FIELD", options->text.fields,
                   "Fields of the parameters by their names: group=2 index=5; 'mcrhost show MACRO' tells them")
      ->option_text("NAME=VALUE...");
  add_unit_options(*command, *options);
  add_word_options(*command, *options);
  add_check_options(*command, *options);
  command->add_flag("--raw", options->raw, "Print _DATA in words, without the names of the catalogue");
  add_catalogue_option(*command, options->catalogue);
  command->add_flag(fmt::format("--trace{{{}}}", STANDARD_ERROR), options->trace,
                    "Write a line for every primitive call to standard error, or with --trace=FILE to a file");
  add_state_option(*command, options->common);
  add_common_options(*command, options->common);
  command->footer(
      "Examples:\n"
      "  mcrhost run cp_9A10_0101 --unit cpu:0.1\n"
      "  mcrhost run cp_9A12_0101 --unit cpu:0.0 group=1 index=5\n"
      "  mcrhost run cp_9A12_0101 --unit cpu:0.0 --rw write group=1 index=5 value=0x12345\n"
      "  mcrhost run cp_9A12_0101 --unit cpu:0.0 --rw write --para 0x0D --data 0x12345\n"
      "  mcrhost run 9A11 --unit 'cpu:*' --machine dead-chip --json\n"
      "  mcrhost run cp_9A20_0101 --unit cpu:0.0 --para 0x10000001 --trace=calls.txt\n"
      "  mcrhost run cp_9A12_0101 --unit cpu:0.0 --rw write --para 0x0D --data 0x12345 --state bench.state --dry-run\n"
      "  mcrhost run cp_9A10_0101 --unit cpu:0.0 --data-out before.bin\n"
      "  mcrhost run cp_9A10_0101 --unit cpu:0.0 --expect before.bin --repeat 100\n"
      "\n"
      "Ends with 0 when the macro ended without failure, 1 when it failed or found something, 2 for wrong usage.");
  command->callback([options, &action] { action = [options] { return run(*options); }; });
}

}  // namespace host
