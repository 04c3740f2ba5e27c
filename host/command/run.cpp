#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/command/commands.hpp"
#include "engine/text/distinct_files.hpp"
#include "engine/run/dry_run.hpp"
#include "engine/run/expectation.hpp"
#include "engine/catalogue/fields.hpp"
#include "host/command/output.hpp"
#include "host/command/progress.hpp"
#include "engine/report/run_report.hpp"
#include "host/command/run_options.hpp"
#include "engine/run/series.hpp"
#include "host/command/session.hpp"
#include "host/command/state.hpp"
#include "engine/run/trace.hpp"
#include "engine/text/word_file.hpp"

namespace host {
namespace {

/// The work of one command.
class RunCommand {
 public:
  explicit RunCommand(const RunOptions &options)
      : options_{options},
        limit_{parse_time_limit(options.timeout, "--timeout")},
        progress_mode_{parse_progress_mode(options.progress, options.trace == STANDARD_ERROR)} {
    check_distinct({{"--state", options.common.state},
                    {"--data-out", options.data_out},
                    {"--trace", options.trace == STANDARD_ERROR ? "" : options.trace},
                    {"--machine", options.common.machine}});
    open(options.common);
    request_ = make_request(options.text, Catalogue{options.catalogue});
    units_ = units_of(options, request_);
    rules_ = rules_of(options);
    if (!options.data_out.empty() && units_.size() > 1)
      throw InputError(fmt::format("--data-out: these are {} runs, and the file keeps the words of one; give one chip",
                                   units_.size()));
    if (!options.trace.empty())
      observing_.emplace(trace_.emplace(options.trace == STANDARD_ERROR ? "" : options.trace));
    if (options.dry_run)
      dry_run_.emplace();
    else if (session() != nullptr)
      session()->remember_machine();
  }

  ExitStatus run() {
    Interruption interruption{limit_};
    progress_.emplace(progress_mode_, work());
    const scdb::Observing counting{*progress_};
    const Tally tally = run_series(
        request_, units_, rules_, interruption,
        [&](const RunRequest &request) { return run_once(request, interruption); },
        [&](const UnitOutcome &outcome) { report(outcome); });
    progress_->finish();
    if (halfway_ && !dry_run_ && session() != nullptr)
      session()->put_machine_back();
    sum_up(tally, interruption);
    if (trace_)
      trace_->finish();
    return tally.all_ok() ? ExitStatus::ok : ExitStatus::failed;
  }

 private:
  [[nodiscard]] Work work() const {
    Work work{request_.macro->name, std::uint64_t{rules_.times} * units_.size(), {}};
    if (request_.entry)
      work.calls_of_each_run = Arguments{*request_.entry, request_.rw, request_.para}.accesses();
    return work;
  }

  RunResult run_once(const RunRequest &request, Interruption &interruption) {
    RunResult result = run_macro(request, &interruption);
    if (trace_)
      trace_->end_run();
    if (!result.stop)
      progress_->end_run();
    halfway_ = halfway_ || result.crashed_in_primitive();
    return result;
  }

  /// The writes that a dry run has planned since this was asked last.
  std::vector<PlannedWrite> planned() {
    const std::vector<PlannedWrite> &all = dry_run_->writes();
    std::vector<PlannedWrite> latest{all.begin() + static_cast<std::ptrdiff_t>(planned_), all.end()};
    planned_ = all.size();
    return latest;
  }

  void report(const UnitOutcome &outcome) {
    progress_->clear();
    if (!options_.data_out.empty())
      write_words(options_.data_out, data_words(outcome.request, outcome.last), "--data-out");
    if (!dry_run_)
      keep_state();
    // Several objects are one a line, so that a program can take each as it comes.
    if (options_.common.json)
      write_output(json_of(outcome).dump(units_.size() > 1 ? -1 : 2) + "\n");
    else
      write_output(text_of(outcome));
  }

  std::string text_of(const UnitOutcome &outcome) {
    std::string text;
    if (dry_run_) {
      const std::vector<PlannedWrite> writes = planned();
      text += fmt::format("dry run: nothing is changed; {} {} would be made\n{}", writes.size(),
                          writes.size() == 1 ? "write" : "writes", host::text_of(writes));
    }
    text += text_report(outcome.request, outcome.last, options_.raw);
    if (!options_.expect.empty())
      text += host::text_of(outcome.comparison);
    if (!options_.repeat.empty())
      text += fmt::format("repeat: {} of {} runs made, {}\n", outcome.made, rules_.times, end_of(outcome));
    return text;
  }

  /// Why there were no more runs.
  static std::string_view end_of(const UnitOutcome &outcome) {
    if (outcome.verdict == Verdict::ok)
      return "all went well";
    return outcome.verdict == Verdict::stopped ? "then stopped" : "the last did not go well";
  }

  nlohmann::ordered_json json_of(const UnitOutcome &outcome) {
    nlohmann::ordered_json json = json_report(outcome.request, outcome.last);
    if (dry_run_)
      json["dry_run"] = {{"writes", host::json_of(planned())}};
    if (!options_.expect.empty())
      json["expect"] = host::json_of(outcome.comparison);
    if (!options_.repeat.empty())
      json["repeat"] = {{"asked", rules_.times}, {"made", outcome.made}, {"good", outcome.verdict == Verdict::ok}};
    return json;
  }

  /// Says what came of several units.
  void sum_up(const Tally &tally, const Interruption &interruption) {
    if (units_.size() < 2)
      return;
    const bool cut_short = !tally.units(Verdict::stopped).empty() || !tally.units(Verdict::not_run).empty();
    const std::string by = cut_short ? interruption.by() : std::string{};
    if (options_.common.json) {
      nlohmann::ordered_json summary = host::json_of(tally);
      summary["stopped_by"] = by.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(by);
      write_output(nlohmann::ordered_json{{"summary", std::move(summary)}}.dump() + "\n");
    } else {
      write_output(host::text_of(tally) + (by.empty() ? "\n" : fmt::format("; stopped by {}\n", by)));
    }
  }

  /// Keeps what the runs so far have made of the machine.  After a macro that crashed inside a primitive the simulated
  /// machine may be halfway through an access: the file stays as it was, and that is said.
  void keep_state() {
    const std::string &path = options_.common.state;
    if (!halfway_) {
      save_state(path);
      if (session() != nullptr)
        session()->remember_machine();
    } else if (!path.empty() && !std::exchange(state_given_up_, true)) {
      complain(fmt::format("--state: '{}' stays as it was, because the macro crashed inside a primitive", path));
    }
  }

  const RunOptions &options_;
  std::optional<Interruption::Duration> limit_;
  ProgressMode progress_mode_;
  RunRequest request_;
  std::vector<Selection> units_;
  SeriesRules rules_;
  std::optional<Trace> trace_;
  std::optional<scdb::Observing> observing_;
  std::optional<DryRun> dry_run_;
  std::optional<Progress> progress_;
  std::size_t planned_ = 0;  ///< writes reported so far
  bool halfway_ = false;     ///< whether a run left the machine halfway through an access
  bool state_given_up_ = false;
};

}  // namespace

void add_run(Command &program, Action &action) {
  Command *const command = program.add_command(
      "run",
      {.summary = "Run a macro on units and print what it found",
       .examples = {"mcrhost run cp_9A10_0101 --unit cpu:0.1",
                    "mcrhost run cp_9A12_0101 --unit cpu:0.0 group=1 index=5",
                    "mcrhost run cp_9A12_0101 --unit cpu:0.0 --rw write group=1 index=5 value=0x12345",
                    "mcrhost run cp_9A12_0101 --unit cpu:0.0 --rw write --para 0x0D --data 0x12345",
                    "mcrhost run 9A11 --unit cpu --keep-going --machine dead-chip --json",
                    "mcrhost run cp_9A10_0101 --unit cpu:0.0 --unit cpu:1 --timeout 30",
                    "mcrhost run cp_9A20_0101 --unit cpu:0.0 --para 0x10000001 --trace=calls.txt",
                    "mcrhost run cp_9A12_0101 --unit cpu:0.0 --rw write --para 0x0D --data 0x12345 --state bench.state "
                    "--dry-run",
                    "mcrhost run cp_9A10_0101 --unit cpu:0.0 --data-out before.bin",
                    "mcrhost run cp_9A10_0101 --unit cpu:0.0 --expect before.bin --repeat 100"},
       .paragraphs = {"A unit of several chips is run on each chip alone, unless the macro takes all of them at once "
                      "('mcrhost show MACRO' tells).  Ctrl-C stops at the next primitive call, a second one at once."},
       .endings = Endings{.ok = "every run ended without failure",
                          .failed = "a run failed, found something, ran past an area it was given, or was stopped"}});
  const auto options = std::make_shared<RunOptions>();
  add_run_options(*command, *options);
  command->callback([options, &action] { action = [options] { return RunCommand{*options}.run(); }; });
}

}  // namespace host
