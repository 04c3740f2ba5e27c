#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/plan/checkpoint.hpp"
#include "engine/run/stop.hpp"
#include "engine/plan/events.hpp"

namespace engine {

/// Runs plans: one run after another, each told to all reporters.
///
/// A step that does not go as expected ends the plan unless it may go on; so does a stop that is asked for, after which
/// the run under way ends at its next primitive call.  The steps that clean up are run in any case.
class PlanEngine {
 public:
  /// All must outlive it.
  /// @param checkpoint  keeps what is done after each run; its results are not run again.  Null: none.
  PlanEngine(const Plan &plan, std::vector<PlanReporter *> reporters, Checkpoint *checkpoint);

  /// @param command_line  for the reports.
  /// @param limit         for the whole plan but what cleans up.
  [[nodiscard]] PlanEnd run(const std::string &command_line, std::optional<Interruption::Duration> limit);

  /// Whether the simulated machine may be halfway through an access, because a macro crashed in it; its state should
  /// not be kept then.
  [[nodiscard]] bool halfway() const { return halfway_; }

 private:
  void run_step(std::size_t index);
  void run_cases(std::size_t index, StepEnd &end);
  /// Nothing where a stop was asked for meanwhile.
  [[nodiscard]] std::optional<CaseResult> run_case(const PlanStep &step, const Selection &unit,
                                                   const PlanVariant &variant);
  /// How long a run of the step may take.
  [[nodiscard]] std::optional<Interruption::Duration> limit_of(const PlanStep &step) const;
  /// Whether no stop has been asked for.
  [[nodiscard]] bool may_go_on();
  /// The next result of the checkpoint, if it has one left.
  [[nodiscard]] const CaseResult *recorded() const;
  void record(const CaseResult &result);
  [[nodiscard]] Instant time() const;
  template <class Event>
  void tell(Event &&event);
  /// Keeps the first thing that could not be written.
  void note(const std::string &problem);

  const Plan &plan_;
  std::vector<PlanReporter *> reporters_;
  Checkpoint *checkpoint_;
  std::size_t replayed_ = 0;                  ///< results taken from the checkpoint
  std::size_t recorded_ = 0;                  ///< results that it had
  std::optional<Interruption> interruption_;  ///< while the plan runs
  PlanEnd end_;
  std::string stopped_;  ///< why the following steps are not run
  bool halfway_ = false;
};

}  // namespace engine
