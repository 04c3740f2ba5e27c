#pragma once

#include <array>
#include <functional>
#include <span>
#include <vector>

#include "engine/run/bench.hpp"
#include "engine/run/judgement.hpp"

/// A macro run on one unit after another.
namespace engine {

/// How the runs are made.
struct SeriesRules {
  Expectation expectation;
  macro_word times = 1;     ///< runs on each unit
  bool keep_going = false;  ///< go on with the next unit when one does not go well
};

/// What came of the runs on one unit.
struct UnitOutcome {
  UnitOutcome() = default;
  ~UnitOutcome() = default;
  // The judgement looks into the last run: they move together.
  UnitOutcome(UnitOutcome &&) = default;
  UnitOutcome &operator=(UnitOutcome &&) = default;
  UnitOutcome(const UnitOutcome &) = delete;
  UnitOutcome &operator=(const UnitOutcome &) = delete;

  RunRequest request;   ///< with the unit
  RunResult last;       ///< of the last run
  Judgement judgement;  ///< of the last run
  macro_word made = 0;  ///< runs
  /// Of all of them: where a stop was asked for between two of them, they are stopped.
  Conclusion conclusion = Conclusion::passed;
};

/// The units of a series by what came of them.
class Tally {
 public:
  void add(Conclusion conclusion, const Selection &unit) {
    units_[static_cast<std::size_t>(conclusion)].push_back(unit);
  }
  [[nodiscard]] const std::vector<Selection> &units(Conclusion conclusion) const {
    return units_[static_cast<std::size_t>(conclusion)];
  }
  /// How many there are altogether.
  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] bool all_passed() const { return units(Conclusion::passed).size() == size(); }

 private:
  std::array<std::vector<Selection>, CONCLUSIONS> units_;
};

/// Runs on one unit after another: on each as often as the rules say, or until a run does not go well.
/// @param made    is called after each run.
/// @param report  is called when the runs on a unit are over.
[[nodiscard]] Tally run_series(Bench &bench, const RunRequest &request, std::span<const Selection> units,
                               const SeriesRules &rules, StopToken &stop,
                               const std::function<void(const RunResult &result)> &made,
                               const std::function<void(const UnitOutcome &outcome)> &report);

}  // namespace engine
