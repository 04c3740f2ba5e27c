#include <fmt/format.h>

#include <csignal>
#include <memory>
#include <optional>
#include <vector>

#include "engine/plan/engine.hpp"
#include "engine/report/plan_reporters.hpp"
#include "engine/report/run_report.hpp"
#include "engine/text/distinct_files.hpp"
#include "engine/text/file.hpp"
#include "host/command/commands.hpp"
#include "host/command/interruption.hpp"
#include "host/command/output.hpp"
#include "host/command/progress.hpp"
#include "scdb/session.hpp"

namespace host {
namespace {

constexpr Endings PLAN_ENDINGS{
    .ok = "everything that was run was as expected",
    .failed = "something was not, or the plan was interrupted",
    .usage = "wrong usage or a mistake in the plan, before anything was run; or results that could not be written",
};

struct PlanOptions {
  CommonOptions common;
  std::string plan;
  std::string command_line;
  std::string junit;
  std::string ocptv;
  std::string checkpoint;
  std::string timeout;
  std::string progress;
  bool resume = false;
  bool every_run = false;
  bool source = false;
};

Plan open_plan(const PlanOptions &options, BenchInUse &bench) {
  static_cast<void>(bench->machine());
  bench->macros();
  return read_plan(find_plan(options.plan), bench.catalogue(), bench->chips());
}

std::vector<std::unique_ptr<PlanReporter>> make_reporters(const PlanOptions &options) {
  std::vector<std::unique_ptr<PlanReporter>> reporters;
  reporters.push_back(options.common.json ? make_json_reporter(write_output)
                                          : make_text_reporter(write_output, options.every_run));
  if (!options.junit.empty()) {
    check_writable(options.junit, "--junit");
    reporters.push_back(make_junit_reporter(options.junit));
  }
  if (!options.ocptv.empty()) {
    check_writable(options.ocptv, "--ocptv");
    reporters.push_back(make_ocptv_reporter(options.ocptv));
  }
  return reporters;
}

/// Shows how far a plan has come, and takes that away before anyone else writes.
class PlanProgress : public PlanReporter {
 public:
  explicit PlanProgress(Progress &progress) : progress_{progress} {}

  void begin_step(const StepStart & /*start*/) override { progress_.clear(); }
  void add(const PlanStep & /*step*/, const PlanVariant & /*variant*/, const CaseResult & /*result*/) override {
    progress_.clear();
    progress_.end_run();
  }
  void end_step(const StepEnd & /*end*/) override { progress_.clear(); }
  void end(const PlanEnd & /*end*/) override { progress_.finish(); }

 private:
  Progress &progress_;
};

ExitStatus run_plan(const PlanOptions &options) {
  if (options.resume && options.checkpoint.empty())
    throw InputError("--resume goes on from a checkpoint; name it with --checkpoint FILE");
  check_distinct({{"PLAN", options.plan},
                  {"--checkpoint", options.checkpoint},
                  {"--junit", options.junit},
                  {"--ocptv", options.ocptv},
                  {"--state", options.common.state},
                  {"--machine", options.common.machine}});
  const std::optional<StopToken::Duration> limit = parse_time_limit(options.timeout, "--timeout");
  const ProgressMode progress_mode = parse_progress_mode(options.progress, false);
  // A reader of the results that goes away is an error of the next write: what cleans up is run all the same.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  BenchInUse bench{options.common};
  const Plan plan = open_plan(options, bench);
  const std::vector<std::unique_ptr<PlanReporter>> reporters = make_reporters(options);
  std::optional<Checkpoint> checkpoint;
  if (!options.checkpoint.empty()) {
    checkpoint.emplace(options.checkpoint, plan, *bench);
    if (options.resume)
      checkpoint->load();
    else
      checkpoint->begin();
  }
  Progress progress{progress_mode, {plan.name, plan.cases(), {}}};
  const scdb::Observing counting{progress};
  PlanProgress shown{progress};
  std::vector<PlanReporter *> heard{&shown};
  for (const std::unique_ptr<PlanReporter> &reporter : reporters)
    heard.push_back(reporter.get());
  const Interruption interruption;
  StopToken stop{&Interruption::source(), limit};
  PlanEngine engine{*bench, plan, std::move(heard), checkpoint ? &*checkpoint : nullptr};
  const PlanEnd end = engine.run({"mcrhost", MACRODEBUG_VERSION, options.command_line}, stop);
  bench->keep_state();
  if (end.interrupted && checkpoint)
    complain("the same command with --resume goes on");
  if (end.failure)
    throw InputError{*end.failure};
  return end.interrupted || end.conclusion > Conclusion::passed ? ExitStatus::failed : ExitStatus::ok;
}

ExitStatus list_plans() {
  std::string text;
  for (const PlanSource &plan : built_in_plans())
    text += fmt::format("{:14}{}\n", plan.name, title_of(plan));
  write_output(text);
  return ExitStatus::ok;
}

std::string units_of(const PlanStep &step) {
  std::string units;
  for (const Selection &unit : step.units)
    units += fmt::format("{}{}", units.empty() ? "" : " ", describe(unit.words()));
  return units;
}

ExitStatus show_plan(const PlanOptions &options) {
  if (options.source) {
    write_output(find_plan(options.plan).text);
    return ExitStatus::ok;
  }
  BenchInUse bench{options.common};
  const Plan plan = open_plan(options, bench);
  std::string text = fmt::format("{}: {}  {} runs in {} steps  on {}\n", plan.name, plan.title, plan.cases(),
                                 plan.steps.size(), label_of(bench->machine_info()));
  if (!plan.text.empty())
    text += fmt::format("\n{}{}", plan.text, plan.text.ends_with('\n') ? "" : "\n");
  for (const PlanStep &step : plan.steps) {
    text += fmt::format("\n{}{}\n  {}  {}", step.cleanup ? "cleanup: " : "", step.name, step.macro,
                        step.units.empty() ? "skipped: " + step.missing : units_of(step));
    if (step.variants.size() > 1)
      text += fmt::format("\n  {} choices of values, {} to {}", step.variants.size(), step.variants.front().values,
                          step.variants.back().values);
    if (step.repeat > 1)
      text += fmt::format("\n  {} times each", step.repeat);
    if (step.verdict != Verdict::pass)
      text += fmt::format("\n  expected: {}", name_of(step.verdict));
    if (step.rings == OpenRings::keep)
      text += "\n  rings that are open after a run stay open";
    text += "\n";
  }
  write_output(text);
  return ExitStatus::ok;
}

/// The command line that the options given make up.
std::string command_line_of(const Command &command) {
  std::string line = fmt::format("mcrhost plan {}", command.get_name());
  for (const CLI::Option *option : command.get_options()) {
    if (option->count() == 0)
      continue;
    if (!option->get_positional())
      line += " " + option->get_name();
    if (option->get_items_expected_max() != 0)
      for (const std::string &value : option->results())
        line += " " + value;
  }
  return line;
}

Command *add_part(Command &plan, const std::string &name, CommandText text, PlanOptions &options) {
  Command *const command = plan.add_command(name, std::move(text));
  command
      ->add("PLAN", options.plan, Takes::plan,
            "Name of a built-in plan, or a file; the name of a file has a slash or a dot in it")
      ->required();
  add_common_options(*command, options.common);
  add_catalogue_option(*command, options.common);
  return command;
}

void add_run_options(Command &command, PlanOptions &options) {
  command.add_flag("--every-run", options.every_run, "Print a line for each run, not only for those not as expected");
  command.add("--junit", options.junit, Takes::file, "Write the results as JUnit XML");
  command.add("--ocptv", options.ocptv, Takes::file,
              "Write the results as Open Compute test-and-validation JSON lines");
  command.add("--checkpoint", options.checkpoint, Takes::file,
              "Keep in this file, after each run, what is done and the state of the simulated machine");
  command.add_flag("--resume", options.resume, "Go on from --checkpoint; what is done is reported and not run again");
  add_timeout_option(command, options.timeout);
  add_progress_option(command, options.progress);
  add_state_option(command, options.common);
}

}  // namespace

void add_plan(Command &program, Action &action) {
  Command *const plan = program.add_command(
      "plan", {.summary = "Run plans: steps of macros with what is expected of them", .endings = PLAN_ENDINGS});
  plan->require_subcommand(1);
  const auto options = std::make_shared<PlanOptions>();

  Command *const run_command =
      add_part(*plan, "run",
               {.summary = "Run a plan, with its steps that clean up",
                .examples = {"mcrhost plan run bring-up",
                             "mcrhost plan run memory-path --machine large --junit results.xml --ocptv results.jsonl",
                             "mcrhost plan run ./night.toml --checkpoint night.checkpoint",
                             "mcrhost plan run ./night.toml --checkpoint night.checkpoint --resume"},
                .endings = PLAN_ENDINGS},
               *options);
  run_command->get_option("--json")->description("Print a JSON object a line for each event instead of text");
  add_run_options(*run_command, *options);
  run_command->callback([options, run_command, &action] {
    options->command_line = command_line_of(*run_command);
    action = [options] { return run_plan(*options); };
  });

  Command *const list_command =
      plan->add_command("list", {.summary = "List the built-in plans", .examples = {"mcrhost plan list"}});
  list_command->callback([&action] { action = list_plans; });

  Command *const show_command =
      add_part(*plan, "show",
               {.summary = "Check a plan against the machine and show its steps; nothing is run",
                .examples = {"mcrhost plan show bring-up", "mcrhost plan show bring-up --source > mine.toml",
                             "mcrhost plan show ./mine.toml --machine large"}},
               *options);
  show_command->remove_option(show_command->get_option("--json"));
  show_command->add_flag("--source", options->source, "Print the plan's file as it is, to copy and change");
  show_command->callback([options, &action] { action = [options] { return show_plan(*options); }; });
}

}  // namespace host
