#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/plan/plan.hpp"

/// What happens while a plan runs, and who tells of it.
namespace engine {

/// What came of a run, a step or a plan; the later, the graver.
enum class Outcome : std::uint8_t {
  skipped,  ///< it was not run
  passed,   ///< as expected
  failed,   ///< the hardware is not as expected
  error,    ///< the run could not tell: it crashed, asked for what is not there, or was not over in time
};
/// "skipped", "passed", "failed", "error".
[[nodiscard]] std::string_view name_of(Outcome outcome);

using Instant = std::chrono::sys_time<std::chrono::microseconds>;
[[nodiscard]] Instant now();
/// In UTC: "2026-11-21T08:05:00.123456Z".
[[nodiscard]] std::string text_of(Instant instant);
[[nodiscard]] double seconds_between(Instant begin, Instant end);

/// A result that was read, and what was expected of it.
struct MeasuredValue {
  std::string name;
  std::optional<std::uint64_t> number;  ///< nothing where it was not written
  std::string text;                     ///< as a run shows it

  struct Expected {
    std::optional<std::uint64_t> number;
    std::string text;
    bool holds = false;
  };
  std::optional<Expected> expected;
};

/// What came of a step on one unit with one choice of values.
struct CaseResult {
  std::size_t step = 0;  ///< index in the plan
  std::string unit;      ///< "cpu:0.1"
  std::string values;    ///< "index=3", of the fields that the step goes through
  Outcome outcome{};
  PlanVerdict verdict{};
  std::vector<std::string> failures;  ///< a sentence each, as those below
  std::vector<std::string> findings;
  std::vector<std::string> mismatches;  ///< results that are not as expected
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

/// "failure instead of pass", "results not as expected": why a run was not as expected, in a few words.
[[nodiscard]] std::string reason_of(const PlanStep &step, const CaseResult &result);

struct PlanStart {
  const Plan &plan;
  MachineInfo machine;
  std::vector<scdb::Chip> chips;
  std::string command_line;
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
  Outcome outcome{};
  std::string skipped;  ///< why nothing of it, or not all, was run; empty where all was
  std::size_t made = 0;
  std::size_t passed = 0;
  Instant time;
};

struct PlanEnd {
  Outcome outcome{};
  bool interrupted = false;
  std::size_t made = 0;
  std::size_t passed = 0;
  std::size_t total = 0;
  std::size_t skipped_steps = 0;
  std::optional<std::string> failure;  ///< what of the results could not be written
  Instant time;
};

/// Hears of everything in the order in which it happens: a format of results, or the progress on a terminal.
class PlanReporter {
 public:
  PlanReporter() = default;
  virtual ~PlanReporter() = default;
  PlanReporter(const PlanReporter &) = delete;
  PlanReporter &operator=(const PlanReporter &) = delete;

  /// All of them may throw InputError: the plan then goes to its end without this reporter.
  virtual void begin(const PlanStart & /*start*/) {}
  virtual void begin_step(const StepStart & /*start*/) {}
  virtual void add(const PlanStep & /*step*/, const PlanVariant & /*variant*/, const CaseResult & /*result*/) {}
  virtual void end_step(const StepEnd & /*end*/) {}
  virtual void end(const PlanEnd & /*end*/) {}
};

}  // namespace engine
