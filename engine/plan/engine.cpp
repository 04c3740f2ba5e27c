#include "engine/plan/engine.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "engine/run/explain.hpp"
#include "engine/text/error.hpp"

namespace engine {
PlanEngine::PlanEngine(Bench &bench, const Plan &plan, std::vector<PlanReporter *> reporters, Checkpoint *checkpoint)
    : bench_{bench},
      plan_{plan},
      reporters_{std::move(reporters)},
      checkpoint_{checkpoint},
      all_results_{checkpoint != nullptr || std::ranges::any_of(reporters_, &PlanReporter::wants_all_results)},
      recorded_{checkpoint != nullptr ? checkpoint->results().size() : 0} {}

void PlanEngine::note(const InputError &problem) {
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
      note(error);
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

PlanEnd PlanEngine::run(const ClientInfo &client, StopToken &stop) {
  const PlanStart start{plan_, bench_.machine_info(), bench_.chips(), client, time()};
  tell([&](PlanReporter &reporter) { reporter.begin(start); });
  end_.total = plan_.cases();
  for (std::size_t i = 0; i < plan_.steps.size(); ++i)
    run_step(i, stop);
  end_.time = time();
  if (end_.interrupted)
    end_.conclusion = Conclusion::stopped;
  tell([&](PlanReporter &reporter) { reporter.end(end_); });
  return end_;
}

void PlanEngine::run_step(std::size_t index, StopToken &stop) {
  const PlanStep &step = plan_.steps[index];
  const StepStart start{step, index, time()};
  StepEnd end{.step = step,
              .index = index,
              .conclusion = Conclusion::skipped,
              .skipped = step.missing,
              .made = 0,
              .passed = 0,
              .time = start.time};
  tell([&](PlanReporter &reporter) { reporter.begin_step(start); });
  if (end.skipped.empty() && !step.cleanup)
    end.skipped = stopped_;
  if (end.skipped.empty())
    run_cases(index, end, stop);
  if (end.made == 0)
    ++end_.skipped_steps;
  end_.made += end.made;
  end_.passed += end.passed;
  end_.conclusion = std::max(end_.conclusion, end.conclusion);
  tell([&](PlanReporter &reporter) { reporter.end_step(end); });
  if (end.conclusion > Conclusion::passed && !step.go_on && stopped_.empty())
    stopped_ = fmt::format("'{}' did not go as expected", step.name);
}

void PlanEngine::run_cases(std::size_t index, StepEnd &end, StopToken &stop) {
  const PlanStep &step = plan_.steps[index];
  for (const Selection &unit : step.units)
    for (const PlanVariant &variant : step.variants) {
      const CaseResult *const known = recorded();
      std::optional<CaseResult> result;
      if (known != nullptr)
        result = *known;
      else if (step.cleanup || may_go_on(stop))
        result = run_case(step, unit, variant, stop);
      if (!result) {
        end.skipped = stopped_;
        if (end_.interrupted && end.made != 0)
          end.conclusion = Conclusion::stopped;
        return;
      }
      result->step = index;
      if (known != nullptr)
        ++replayed_;
      else
        record(*result);
      ++end.made;
      end.passed += result->conclusion == Conclusion::passed ? std::size_t{1} : 0;
      end.conclusion = std::max(end.conclusion, result->conclusion);
      end.time = result->end;
      tell([&](PlanReporter &reporter) { reporter.add(step, variant, *result); });
    }
}

bool PlanEngine::may_go_on(StopToken &stop) {
  if (stop.stopped()) {
    end_.interrupted = true;
    stopped_ = "interrupted";
  } else if (end_.failure) {
    stopped_ = "results could not be written";
  }
  return stopped_.empty();
}

std::optional<CaseResult> PlanEngine::run_case(const PlanStep &step, const Selection &unit, const PlanVariant &variant,
                                               StopToken &stop) {
  RunRequest request = variant.request;
  request.unit = unit;
  CaseResult result;
  result.unit = describe(unit.words());
  result.values = variant.values;
  result.begin = now();
  // The limit is for all repetitions together; what cleans up is stopped by its own alone.
  StopToken never{nullptr};
  StopToken own{step.cleanup ? never : stop,
                step.timeout.count() == 0 ? std::nullopt : std::optional<StopToken::Duration>{step.timeout}};
  do {
    if (result.runs != 0 && !step.cleanup && !may_go_on(stop))
      return std::nullopt;
    const RunResult run = bench_.run(request, &own);
    ++result.runs;
    keep(request, run, variant.expectation, result);
    // Whatever came of it came of the stop.
    if (run.stop && run.stop->cause != StopCause::own_limit && !may_go_on(stop)) {
      std::ranges::move(fates_of_rings(run), std::back_inserter(end_.notes));
      return std::nullopt;
    }
  } while (result.conclusion == Conclusion::passed && result.runs < step.repeat);
  result.end = now();
  return result;
}

void PlanEngine::keep(const RunRequest &request, const RunResult &run, const Expectation &expectation,
                      CaseResult &result) const {
  Judgement judgement = judge(request, run, expectation);
  result.calls = run.calls;
  result.place = place_of(request, run);
  result.verdict = judgement.verdict;
  result.conclusion = judgement.conclusion;
  result.measured = all_results_ ? measured_values(judgement) : std::vector<MeasuredValue>{};
  // What was expected comes first.
  result.measured.insert(result.measured.begin(), std::make_move_iterator(judgement.checked.begin()),
                         std::make_move_iterator(judgement.checked.end()));
  result.failures = std::move(judgement.failures);
  result.findings = std::move(judgement.findings);
  result.mismatches = std::move(judgement.mismatches);
  // Also of earlier repetitions.
  for (std::string &note : judgement.notes)
    if (std::ranges::find(result.notes, note) == result.notes.end())
      result.notes.push_back(std::move(note));
}

void PlanEngine::record(const CaseResult &result) {
  if (checkpoint_ == nullptr || end_.interrupted || end_.failure)
    return;
  try {
    checkpoint_->add(result);
  } catch (const InputError &error) {
    note(error);
  }
}

}  // namespace engine
