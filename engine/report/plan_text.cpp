#include <fmt/format.h>

#include <algorithm>

#include "engine/report/plan_reporters.hpp"
#include "engine/report/run_report.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

/// Of a step that goes wrong everywhere, and of a run with findings without end, the first say enough.
constexpr std::size_t CASES_SHOWN = 16;
constexpr std::size_t SENTENCES_SHOWN = 8;

std::string runs(std::size_t count) {
  return count_of(count, "run");
}

std::string sentences(std::string_view what, const std::vector<std::string> &all) {
  std::string lines;
  for (std::size_t i = 0; i < std::min(all.size(), SENTENCES_SHOWN); ++i)
    lines += fmt::format("    {}: {}\n", what, all[i]);
  if (all.size() > SENTENCES_SHOWN)
    lines += fmt::format("    {}: {} more\n", what, all.size() - SENTENCES_SHOWN);
  return lines;
}

class TextReporter : public PlanReporter {
 public:
  TextReporter(Sink sink, bool every_run) : sink_{std::move(sink)}, every_run_{every_run} {}

  void begin(const PlanStart &start) override {
    for (const PlanStep &step : start.plan.steps) {
      name_width_ = std::max(name_width_, name_of_step(step).size());
      macro_width_ = std::max(macro_width_, step.macro.size());
    }
    sink_(fmt::format("{}: {}  {} in {}  on {}\n", start.plan.name, start.plan.title, runs(start.plan.cases()),
                      count_of(start.plan.steps.size(), "step"), label_of(start.machine)));
  }

  void begin_step(const StepStart & /*start*/) override {
    details_.clear();
    shown_ = 0;
    hidden_ = 0;
  }

  void add(const PlanStep &step, const PlanVariant & /*variant*/, const CaseResult &result) override {
    if (result.conclusion == Conclusion::passed && result.notes.empty() && !every_run_)
      return;
    if (shown_ == CASES_SHOWN && !every_run_) {
      ++hidden_;
      return;
    }
    ++shown_;
    const std::string reason =
        result.conclusion == Conclusion::passed
            ? fmt::format("{}{}", name_of(result.verdict), result.verdict == Verdict::pass ? "" : ", as expected")
            : reason_of(result.conclusion, result.verdict, step.verdict);
    details_ += fmt::format("  {}{}{}: {}{}\n", result.unit, result.values.empty() ? "" : "  ", result.values, reason,
                            step.repeat == 1 ? "" : fmt::format(", run {} of {}", result.runs, step.repeat));
    // What a run that passed said was expected.
    if (result.conclusion != Conclusion::passed || every_run_)
      details_ += sentences("failure", result.failures) + sentences("finding", result.findings)
                  + sentences("mismatch", result.mismatches);
    details_ += sentences("note", result.notes);
  }

  void end_step(const StepEnd &end) override {
    const std::size_t total = end.step.cases();
    std::string counts =
        end.made == end.passed ? runs(end.made) : fmt::format("{} of {} as expected", end.passed, runs(end.made));
    if (!end.skipped.empty())
      counts = end.made == 0 ? end.skipped : fmt::format("{}, {} not made: {}", counts, total - end.made, end.skipped);
    if (hidden_ != 0)
      details_ += fmt::format("  {} more\n", hidden_);
    sink_(fmt::format("{:8} {:{}}  {:{}}  {}\n{}", name_of(end.conclusion), name_of_step(end.step), name_width_,
                      end.step.macro, macro_width_, counts, details_));
  }

  void end(const PlanEnd &end) override {
    std::string line = fmt::format("{}: {} of {} as expected", name_of(end.conclusion), end.passed, runs(end.total));
    if (end.made != end.total)
      line += fmt::format(", {} not made", end.total - end.made);
    if (end.skipped_steps != 0)
      line += fmt::format(", {} skipped", count_of(end.skipped_steps, "step"));
    for (const std::string &note : end.notes)
      line += fmt::format("\nnote: {}", note);
    sink_(line + "\n");
  }

 private:
  static std::string name_of_step(const PlanStep &step) { return step.cleanup ? "cleanup: " + step.name : step.name; }

  Sink sink_;
  bool every_run_;
  std::size_t name_width_ = 0;
  std::size_t macro_width_ = 0;
  std::string details_;
  std::size_t shown_ = 0;
  std::size_t hidden_ = 0;
};

}  // namespace

std::unique_ptr<PlanReporter> make_text_reporter(Sink sink, bool every_run) {
  return std::make_unique<TextReporter>(std::move(sink), every_run);
}

}  // namespace engine
