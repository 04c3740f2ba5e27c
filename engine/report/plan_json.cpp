
#include <nlohmann/json.hpp>

#include "engine/report/plan_reporters.hpp"
#include "engine/report/run_report.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

class JsonReporter : public PlanReporter {
 public:
  explicit JsonReporter(Sink sink) : sink_{std::move(sink)} {}

  [[nodiscard]] bool wants_all_results() const override { return true; }

  void begin(const PlanStart &start) override {
    write({{"event", "plan"},
           {"name", start.plan.name},
           {"title", start.plan.title},
           {"machine", json_of(start.machine)},
           {"steps", start.plan.steps.size()},
           {"runs", start.plan.cases()},
           {"time", time_text(start.time)}});
  }

  void begin_step(const StepStart &start) override {
    write({{"event", "step"},
           {"step", start.index},
           {"name", start.step.name},
           {"macro", start.step.macro},
           {"cleanup", start.step.cleanup},
           {"runs", start.step.cases()},
           {"time", time_text(start.time)}});
  }

  void add(const PlanStep & /*step*/, const PlanVariant &variant, const CaseResult &result) override {
    Json json{{"event", "run"}, {"macro", variant.request.macro->name}};
    json.update(json_of(result));
    json["begin"] = time_text(result.begin);
    json["end"] = time_text(result.end);
    write(json);
  }

  void end_step(const StepEnd &end) override {
    Json json{{"event", "step end"}, {"step", end.index}, {"outcome", name_of(end.conclusion)}};
    if (!end.skipped.empty())
      json["skipped"] = end.skipped;
    json.update({{"made", end.made}, {"passed", end.passed}, {"time", time_text(end.time)}});
    write(json);
  }

  void end(const PlanEnd &end) override {
    write({{"event", "end"},
           {"outcome", name_of(end.conclusion)},
           {"interrupted", end.interrupted},
           {"notes", end.notes},
           {"made", end.made},
           {"passed", end.passed},
           {"runs", end.total},
           {"skipped_steps", end.skipped_steps},
           {"time", time_text(end.time)}});
  }

 private:
  void write(const Json &json) const { sink_(json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"); }

  Sink sink_;
};

}  // namespace

std::unique_ptr<PlanReporter> make_json_reporter(Sink sink) {
  return std::make_unique<JsonReporter>(std::move(sink));
}

}  // namespace engine
