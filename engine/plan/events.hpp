#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/plan/plan.hpp"
#include "engine/run/bench.hpp"
#include "engine/run/judgement.hpp"
#include "engine/text/error.hpp"

/// What happens while a plan runs, and who tells of it.
namespace engine {

using Instant = std::chrono::sys_time<std::chrono::microseconds>;
[[nodiscard]] Instant now();
/// In UTC: "2026-11-21T08:05:00.123456Z".
[[nodiscard]] std::string time_text(Instant instant);
[[nodiscard]] double seconds_between(Instant begin, Instant end);

/// What came of a step on one unit with one choice of values.
struct CaseResult {
  std::size_t step = 0;  ///< index in the plan
  std::string unit;      ///< "cpu:0.1"
  std::string values;    ///< "index=3", of the fields that the step goes through
  Conclusion conclusion{};
  Verdict verdict{};
  std::vector<std::string> failures;  ///< a sentence each, as those below
  std::vector<std::string> findings;
  std::vector<std::string> mismatches;  ///< results that are not as expected
  std::vector<std::string> notes;       ///< what else became of open rings
  std::vector<MeasuredValue> measured;
  std::string place;    ///< the chip to look at, or the unit
  macro_word runs = 0;  ///< made, with all repetitions
  unsigned calls = 0;   ///< primitive calls of the last
  Instant begin;
  Instant end;
};
[[nodiscard]] nlohmann::ordered_json json_of(const CaseResult &result);
/// The reverse.
/// @throw nlohmann::json::exception
[[nodiscard]] CaseResult case_of(const nlohmann::ordered_json &json);

/// Who runs the plan.
struct ClientInfo {
  std::string name;  ///< "mcrhost"
  std::string version;
  std::string command_line;  ///< that asked for it, as far as there is one
};

struct PlanStart {
  const Plan &plan;
  MachineInfo machine;
  std::vector<scdb::Chip> chips;
  ClientInfo client;
  Instant time;
};

struct StepStart {
  const PlanStep &step;
  std::size_t index = 0;
  Instant time;
};

struct StepEnd {
  const PlanStep &step;
  std::size_t index = 0;
  Conclusion conclusion{};
  std::string skipped;  ///< why nothing of it, or not all, was run; empty where all was
  std::size_t made = 0;
  std::size_t passed = 0;
  Instant time;
};

struct PlanEnd {
  Conclusion conclusion{};
  bool interrupted = false;
  std::vector<std::string> notes;  ///< what became of open rings of a run that was cut short and does not count
  std::size_t made = 0;
  std::size_t passed = 0;
  std::size_t total = 0;
  std::size_t skipped_steps = 0;
  std::optional<InputError> failure;  ///< what of the results could not be written
  Instant time;
};

/// Hears of everything in the order in which it happens: a format of results, or the progress on a terminal.
class PlanReporter {
 public:
  PlanReporter() = default;
  virtual ~PlanReporter() = default;
  PlanReporter(const PlanReporter &) = delete;
  PlanReporter &operator=(const PlanReporter &) = delete;

  /// Whether it tells results of which nothing was expected.  They cost more than the runs.
  [[nodiscard]] virtual bool wants_all_results() const { return false; }

  /// All of these may throw InputError: the plan then goes to its end without this reporter.
  virtual void begin(const PlanStart & /*start*/) {}
  virtual void begin_step(const StepStart & /*start*/) {}
  virtual void add(const PlanStep & /*step*/, const PlanVariant & /*variant*/, const CaseResult & /*result*/) {}
  virtual void end_step(const StepEnd & /*end*/) {}
  virtual void end(const PlanEnd & /*end*/) {}
};

}  // namespace engine
