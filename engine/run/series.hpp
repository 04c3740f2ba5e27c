#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <vector>

#include "engine/run/expectation.hpp"
#include "engine/run/stop.hpp"
#include "engine/run/runner.hpp"

/// A macro run on one unit after another.
namespace engine {

/// How the runs are made.
struct SeriesRules {
  Expectation expectation;
  macro_word times = 1;             ///< runs on each unit
  bool keep_going = false;          ///< go on with the next unit when one does not go well
  bool restore_open_rings = false;  ///< put back what rings held that a run left open
};

/// What came of a unit.
enum class Verdict : std::uint8_t { ok, failed, finding, unexpected, stopped, not_run };

/// What came of the runs on one unit.
struct UnitOutcome {
  RunRequest request;  ///< with the unit
  RunResult last;
  Comparison comparison;
  macro_word made = 0;  ///< runs
  Verdict verdict = Verdict::ok;
};

/// The units of a series by what came of them.
class Tally {
 public:
  void add(Verdict verdict, const Selection &unit) { units_[static_cast<std::size_t>(verdict)].push_back(unit); }
  [[nodiscard]] const std::vector<Selection> &units(Verdict verdict) const {
    return units_[static_cast<std::size_t>(verdict)];
  }
  /// How many there are altogether.
  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] bool all_ok() const { return units(Verdict::ok).size() == size(); }

 private:
  std::array<std::vector<Selection>, static_cast<std::size_t>(Verdict::not_run) + 1> units_;
};

/// Runs on one unit after another: on each as often as the rules say, or until a run does not go well.
/// @param report  is called when the runs on a unit are over.
/// @param run     makes a run.
[[nodiscard]] Tally run_series(const RunRequest &request, std::span<const Selection> units, const SeriesRules &rules,
                               Interruption &interruption,
                               const std::function<RunResult(const RunRequest &request)> &run,
                               const std::function<void(const UnitOutcome &outcome)> &report);

/// "4 units: 3 ok, 1 failed: cpu:0.1"
[[nodiscard]] std::string text_of(const Tally &tally);
/// The number of units, of those that went well, and the names of the others.
[[nodiscard]] nlohmann::ordered_json json_of(const Tally &tally);

}  // namespace engine
