#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "engine/report/run_report.hpp"
#include "engine/run/request.hpp"
#include "engine/text/distinct_files.hpp"
#include "engine/text/word_file.hpp"
#include "host/command/commands.hpp"
#include "host/command/interruption.hpp"
#include "host/command/option_names.hpp"
#include "host/command/output.hpp"
#include "host/command/progress.hpp"
#include "host/command/run_options.hpp"
#include "host/command/trace_file.hpp"

namespace host {
namespace {

/// The work of one command.
class RunCommand {
 public:
  explicit RunCommand(const RunOptions &options)
      : options_{options},
        limit_{parse_time_limit(options.timeout, "--timeout")},
        progress_mode_{parse_progress_mode(options.progress, options.trace == STANDARD_ERROR)},
        bench_{options.common} {
    check_distinct({{"--state", options.common.state},
                    {"--data-out", options.data_out},
                    {"--trace", options.trace == STANDARD_ERROR ? "" : options.trace},
                    {"--machine", options.common.machine}});
    static_cast<void>(bench_->machine());
    bench_->macros();
    request_ = make_request(order_of(options), bench_.catalogue());
    units_ = units_of(options, request_, *bench_);
    rules_ = rules_of(options);
    if (!options.data_out.empty() && units_.size() > 1)
      throw InputError(fmt::format("--data-out: these are {} runs, and the file keeps the words of one; give one chip",
                                   units_.size()));
    if (!options.trace.empty())
      trace_.emplace(options.trace);
    if (options.dry_run)
      dry_run_ = &bench_->begin_dry_run();
  }
  ~RunCommand() { bench_->end_dry_run(); }
  RunCommand(const RunCommand &) = delete;
  RunCommand &operator=(const RunCommand &) = delete;

  ExitStatus run() {
    const Interruption interruption;
    StopToken stop{&Interruption::source(), limit_};
    progress_.emplace(progress_mode_, work());
    const scdb::Observing counting{*progress_};
    const Tally tally = run_series(
        *bench_, request_, units_, rules_, stop, [&](const RunResult &result) { made(result); },
        [&](const UnitOutcome &outcome) { report(outcome); });
    progress_->finish();
    sum_up(tally, stop);
    if (trace_)
      trace_->finish();
    return tally.all_passed() ? ExitStatus::ok : ExitStatus::failed;
  }

 private:
  [[nodiscard]] Work work() const {
    Work work{request_.macro->name, std::uint64_t{rules_.times} * units_.size(), {}};
    if (request_.entry)
      work.calls_of_each_run = Arguments{*request_.entry, request_.rw, request_.para}.accesses();
    return work;
  }

  void made(const RunResult &result) {
    if (trace_)
      trace_->end_run();
    if (!result.stop)
      progress_->end_run();
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
    bench_->keep_state();
    if (!options_.data_out.empty())
      write_words(options_.data_out, data_words(outcome.request, outcome.last), "--data-out");
    const FinishedRun finished{outcome.request, outcome.last, outcome.judgement, bench_->machine_info()};
    // Several objects are one a line, so that a program can take each as it comes.
    if (options_.common.json)
      write_output(json_of(outcome, finished).dump(units_.size() > 1 ? -1 : 2) + "\n");
    else
      write_output(text_of(outcome, finished));
  }

  std::string text_of(const UnitOutcome &outcome, const FinishedRun &finished) {
    std::string text;
    if (dry_run_ != nullptr) {
      const std::vector<PlannedWrite> writes = planned();
      text += fmt::format("dry run: nothing is changed; {} {} would be made\n{}", writes.size(),
                          writes.size() == 1 ? "write" : "writes", text_of_writes(writes));
    }
    text += text_report(finished, options_.raw, option_name);
    if (!options_.expect.empty())
      text += comparison_text(outcome.judgement.comparison);
    if (!options_.repeat.empty())
      text += fmt::format("repeat: {} of {} runs made, {}\n", outcome.made, rules_.times, end_of(outcome));
    return text;
  }

  /// Why there were no more runs.
  static std::string_view end_of(const UnitOutcome &outcome) {
    if (outcome.conclusion == Conclusion::passed)
      return "all passed";
    return outcome.conclusion == Conclusion::stopped ? "then stopped" : "the last did not pass";
  }

  nlohmann::ordered_json json_of(const UnitOutcome &outcome, const FinishedRun &finished) {
    nlohmann::ordered_json json = json_report(finished);
    if (dry_run_ != nullptr)
      json["dry_run"] = {{"writes", engine::json_of(planned())}};
    if (!options_.expect.empty())
      json["expect"] = engine::json_of(outcome.judgement.comparison);
    if (!options_.repeat.empty())
      json["repeat"] = {{"asked", rules_.times}, {"made", outcome.made}, {"outcome", name_of(outcome.conclusion)}};
    return json;
  }

  /// Says what came of several units.
  void sum_up(const Tally &tally, const StopToken &stop) {
    if (units_.size() < 2)
      return;
    if (options_.common.json) {
      nlohmann::ordered_json summary = engine::json_of(tally);
      summary["stopped_by"] = stop.by().empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(stop.by());
      write_output(nlohmann::ordered_json{{"summary", std::move(summary)}}.dump() + "\n");
    } else {
      write_output(summary_of(tally) + (stop.by().empty() ? "\n" : fmt::format("; stopped by {}\n", stop.by())));
    }
  }

  const RunOptions &options_;
  std::optional<StopToken::Duration> limit_;
  ProgressMode progress_mode_;
  BenchInUse bench_;
  RunRequest request_;
  std::vector<Selection> units_;
  SeriesRules rules_;
  std::optional<TraceFile> trace_;
  DryRun *dry_run_ = nullptr;
  std::optional<Progress> progress_;
  std::size_t planned_ = 0;  ///< writes reported so far
};

constexpr const char *DRY_RUN_EXAMPLE =
    "mcrhost run cp_9A12_0101 --unit cpu:0.0 --rw write --para 0x0D --data 0x12345 --state bench.state --dry-run";

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
                    "mcrhost run cp_9A20_0101 --unit cpu:0.0 --para 0x10000001 --trace=calls.txt", DRY_RUN_EXAMPLE,
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
