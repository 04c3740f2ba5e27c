#include "engine/plan/engine.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "engine/text/error.hpp"
#include "engine/run/explain.hpp"
#include "engine/report/run_report.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

/// Results of a run are kept one by one up to so many; of dumps nobody asked for single ones.
constexpr std::size_t MOST_MEASURED = 64;

PlanVerdict verdict_of(const RunRequest &request, const RunResult &run) {
  if (!run.ok())
    return PlanVerdict::failure;
  return findings_of(request, run).empty() ? PlanVerdict::pass : PlanVerdict::finding;
}

/// Whether a failed run says nothing of the hardware: it crashed, or asked for what the machine does not have.
bool is_error(const RunResult &run) {
  if (run.crash || run.stop || !run.underruns.empty())
    return true;
  const std::optional<scdb::Failure> failure = scdb::read_failure(run.record);
  if (!failure)
    return false;
  const scdb::Reason reason = failure->outcome.reason;
  return scdb::class_of(reason) != scdb::FailureClass::hardware && reason != scdb::Reason::macro_failed;
}

/// The results that the entry lays out, as the words are after the run.
std::vector<ShownValue> shown_values(const RunRequest &request, const RunResult &run, bool all) {
  if (!request.entry)
    return {};
  const Arguments arguments{*request.entry, request.rw, request.para};
  const std::size_t size = arguments.data_words(false);
  if (!all && size > MOST_MEASURED)
    return {};
  DataWords words;
  for (std::size_t i = 0; i < size; ++i)
    words.push_back(data_word(request, run, i));
  return shown_values(arguments, words);
}

MeasuredValue measured(const ShownValue &value) {
  return {value.name, value.value, text_of(value), {}};
}

/// What was expected by name, then what else there is to be seen.
std::vector<MeasuredValue> named_values(const PlanVariant &variant, const RunRequest &request, const RunResult &run) {
  const std::vector<ShownValue> shown = shown_values(request, run, !variant.named.empty());
  std::vector<MeasuredValue> values;
  for (const NamedExpectation &expectation : variant.named) {
    const auto found = std::ranges::find(shown, expectation.name, &ShownValue::name);
    const ShownValue value = found != shown.end() ? *found : ShownValue{expectation.name, nullptr, {}};
    MeasuredValue &checked = values.emplace_back(measured(value));
    checked.expected = MeasuredValue::Expected{expectation.number, expectation.text, holds(expectation, value)};
  }
  if (shown.size() > MOST_MEASURED)
    return values;
  for (const ShownValue &value : shown)
    if (std::ranges::find(variant.named, value.name, &NamedExpectation::name) == variant.named.end())
      values.push_back(measured(value));
  return values;
}

/// The words that were expected as words.
std::vector<MeasuredValue> word_values(const Expectation &expectation, const RunRequest &request,
                                       const RunResult &run) {
  std::vector<MeasuredValue> values;
  for (std::size_t i = 0; i < std::min(expectation.words.size(), MOST_MEASURED); ++i) {
    const macro_word mask = expectation.masks[i];
    const macro_word expected = expectation.words[i] & mask;
    MeasuredValue &value = values.emplace_back();
    value.name = mask == MACRO_ALL ? fmt::format("_DATA[{}]", i) : fmt::format("_DATA[{}] & {}", i, hex(mask));
    const std::optional<macro_word> is = data_word(request, run, i);
    if (is)
      value.number = *is & mask;
    value.text = is ? hex(*is & mask) : "not written";
    value.expected = MeasuredValue::Expected{expected, hex(expected), is && (*is & mask) == expected};
  }
  return values;
}

std::string place_of(const RunRequest &request, const RunResult &run) {
  const std::optional<scdb::Failure> failure = scdb::read_failure(run.record);
  return failure && failure->outcome.placed ? scdb::to_string(failure->outcome.place) : describe(request.unit.words());
}

/// What came of one run, in the light of what is expected.
void judge(const PlanStep &step, const PlanVariant &variant, const RunRequest &request, const RunResult &run,
           CaseResult &result) {
  result.calls = run.calls;
  result.verdict = verdict_of(request, run);
  result.place = place_of(request, run);
  result.failures = failures_of(run, request.entry.get());
  result.findings = findings_of(request, run);
  result.measured = named_values(variant, request, run);
  result.mismatches.clear();
  for (const MeasuredValue &value : result.measured)
    if (value.expected && !value.expected->holds)
      result.mismatches.push_back(fmt::format("{} is {} instead of {}", value.name, value.text, value.expected->text));
  if (const std::string differing = describe(compare(variant.words, request, run)); !differing.empty())
    result.mismatches.push_back(differing);
  std::ranges::move(word_values(variant.words, request, run), std::back_inserter(result.measured));
  const bool out_of_bounds = run.crash || !run.underruns.empty();
  if (result.verdict == step.verdict && result.mismatches.empty() && !out_of_bounds)
    result.outcome = Outcome::passed;
  else
    result.outcome = result.verdict == PlanVerdict::failure && is_error(run) ? Outcome::error : Outcome::failed;
}

/// What a run that was cut short left open is put back; on other machines people decide.
void close_rings(RunResult &run, CaseResult &result) {
  if (run.machine.simulated)
    restore_open_rings(run);
  std::string rings;
  for (const scdb::OpenRing &open : run.restoration ? run.restoration->still_open : run.open_rings)
    rings += fmt::format("{}{} ring 0x{:02X}", rings.empty() ? "" : ", ", scdb::to_string(open.chip), open.ring);
  if (!rings.empty())
    result.failures.push_back(fmt::format("rings left open: {}", rings));
}

}  // namespace

PlanEngine::PlanEngine(const Plan &plan, std::vector<PlanReporter *> reporters, Checkpoint *checkpoint)
    : plan_{plan},
      reporters_{std::move(reporters)},
      checkpoint_{checkpoint},
      recorded_{checkpoint != nullptr ? checkpoint->results().size() : 0} {}

void PlanEngine::note(const std::string &problem) {
  if (!end_.failure)
    end_.failure = problem;
}

template <class Event>
void PlanEngine::tell(Event &&event) {
  std::erase_if(reporters_, [&](PlanReporter *reporter) {
    try {
      event(*reporter);
      return false;
    } catch (const InputError &error) {
      note(error.what());
      return true;
    }
  });
}

const CaseResult *PlanEngine::recorded() const {
  return replayed_ < recorded_ ? &checkpoint_->results()[replayed_] : nullptr;
}

Instant PlanEngine::time() const {
  const CaseResult *const next = recorded();
  return next != nullptr ? next->begin : now();
}

PlanEnd PlanEngine::run(const std::string &command_line, std::optional<Interruption::Duration> limit) {
  interruption_.emplace(limit);
  const PlanStart start{plan_, current_machine(), scdb::machine().chips(), command_line, time()};
  tell([&](PlanReporter &reporter) { reporter.begin(start); });
  end_.total = plan_.cases();
  for (std::size_t i = 0; i < plan_.steps.size(); ++i)
    run_step(i);
  end_.time = time();
  tell([&](PlanReporter &reporter) { reporter.end(end_); });
  return end_;
}

void PlanEngine::run_step(std::size_t index) {
  const PlanStep &step = plan_.steps[index];
  const StepStart start{step, index, time()};
  StepEnd end{.step = step,
              .index = index,
              .outcome = Outcome::skipped,
              .skipped = step.missing,
              .made = 0,
              .passed = 0,
              .time = start.time};
  tell([&](PlanReporter &reporter) { reporter.begin_step(start); });
  if (end.skipped.empty() && !step.cleanup)
    end.skipped = stopped_;
  if (end.skipped.empty())
    run_cases(index, end);
  if (end.made == 0)
    ++end_.skipped_steps;
  end_.made += end.made;
  end_.passed += end.passed;
  end_.outcome = std::max(end_.outcome, end.outcome);
  tell([&](PlanReporter &reporter) { reporter.end_step(end); });
  if (end.outcome > Outcome::passed && !step.go_on && stopped_.empty())
    stopped_ = fmt::format("'{}' did not go as expected", step.name);
}

void PlanEngine::run_cases(std::size_t index, StepEnd &end) {
  const PlanStep &step = plan_.steps[index];
  for (const Selection &unit : step.units)
    for (const PlanVariant &variant : step.variants) {
      const CaseResult *const known = recorded();
      std::optional<CaseResult> result;
      if (known != nullptr)
        result = *known;
      else if (step.cleanup || may_go_on())
        result = run_case(step, unit, variant);
      if (!result) {
        end.skipped = stopped_;
        return;
      }
      result->step = index;
      if (known != nullptr)
        ++replayed_;
      else
        record(*result);
      ++end.made;
      end.passed += result->outcome == Outcome::passed ? std::size_t{1} : 0;
      end.outcome = std::max(end.outcome, result->outcome);
      end.time = result->end;
      tell([&](PlanReporter &reporter) { reporter.add(step, variant, *result); });
    }
}

bool PlanEngine::may_go_on() {
  if (interruption_->stopped()) {
    end_.interrupted = true;
    stopped_ = "interrupted";
  } else if (end_.failure) {
    stopped_ = "results could not be written";
  }
  return stopped_.empty();
}

std::optional<Interruption::Duration> PlanEngine::limit_of(const PlanStep &step) const {
  const std::optional<Interruption::Duration> left = step.cleanup ? std::nullopt : interruption_->left();
  if (step.timeout.count() == 0)
    return left;
  return std::min<Interruption::Duration>(step.timeout, left.value_or(step.timeout));
}

std::optional<CaseResult> PlanEngine::run_case(const PlanStep &step, const Selection &unit,
                                               const PlanVariant &variant) {
  RunRequest request = variant.request;
  request.unit = unit;
  CaseResult result;
  result.unit = describe(unit.words());
  result.values = variant.values;
  result.begin = now();
  // For all repetitions together.
  const std::optional<Interruption::Duration> limit = limit_of(step);
  Interruption interruption{limit, step.cleanup ? Interruption::Heeds::time_alone : Interruption::Heeds::signals};
  do {
    if (result.runs != 0 && !step.cleanup && !may_go_on())
      return std::nullopt;
    RunResult run = run_macro(request, &interruption);
    halfway_ = halfway_ || run.crashed_in_primitive();
    ++result.runs;
    judge(step, variant, request, run, result);
    if (run.stop) {
      result.failures = {fmt::format("stopped by {}", run.stop->by)};
      result.outcome = Outcome::error;
    }
    if (!run.ok())
      close_rings(run, result);
    // Whatever came of it came of the stop.
    if (run.stop && !step.cleanup && !may_go_on())
      return std::nullopt;
  } while (result.outcome == Outcome::passed && result.runs < step.repeat);
  result.end = now();
  return result;
}

void PlanEngine::record(const CaseResult &result) {
  if (checkpoint_ == nullptr || end_.interrupted || halfway_ || end_.failure)
    return;
  try {
    checkpoint_->add(result);
  } catch (const InputError &error) {
    note(error.what());
  }
}

}  // namespace engine
