#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/plan/checkpoint.hpp"
#include "engine/plan/events.hpp"
#include "engine/run/bench.hpp"

namespace engine {

/// Runs plans: one run after another, each told to all reporters.
///
/// A step that does not go as expected ends the plan unless it may go on; so does a stop that is asked for, after which
/// the run under way ends at its next primitive call.  The steps that clean up are run in any case.
class PlanEngine {
 public:
  /// All must outlive it.
  /// @param checkpoint  keeps what is done after each run; its results are not run again.  Null: none.
  PlanEngine(Bench &bench, const Plan &plan, std::vector<PlanReporter *> reporters, Checkpoint *checkpoint);

  /// @param stop  stops the whole plan but what cleans up.
  [[nodiscard]] PlanEnd run(const ClientInfo &client, StopToken &stop);

 private:
  void run_step(std::size_t index, StopToken &stop);
  void run_cases(std::size_t index, StepEnd &end, StopToken &stop);
  /// Nothing where a stop was asked for meanwhile.
  [[nodiscard]] std::optional<CaseResult> run_case(const PlanStep &step, const Selection &unit,
                                                   const PlanVariant &variant, StopToken &stop);
  void keep(const RunRequest &request, const RunResult &run, const Expectation &expectation, CaseResult &result) const;
  /// Whether no stop has been asked for.
  [[nodiscard]] bool may_go_on(StopToken &stop);
  /// The next result of the checkpoint, if it has one left.
  [[nodiscard]] const CaseResult *recorded() const;
  void record(const CaseResult &result);
  [[nodiscard]] Instant time() const;
  template <class Event>
  void tell(Event &&event);
  /// Keeps the first thing that could not be written.
  void note(const InputError &problem);

  Bench &bench_;
  const Plan &plan_;
  std::vector<PlanReporter *> reporters_;
  Checkpoint *checkpoint_;
  bool all_results_ = false;  ///< whether somebody wants results of which nothing was expected
  std::size_t replayed_ = 0;  ///< results taken from the checkpoint
  std::size_t recorded_ = 0;  ///< results that it had
  PlanEnd end_;
  std::string stopped_;  ///< why the following steps are not run
};

}  // namespace engine
