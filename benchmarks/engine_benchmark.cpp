#include <array>
#include <memory>
#include <stdexcept>
#include <string>

#include "counted.hpp"
#include "engine/plan/engine.hpp"
#include "engine/plan/plan.hpp"
#include "engine/report/plan_reporters.hpp"
#include "engine/run/bench.hpp"

// What the engine adds to a macro that makes few calls: its run in a plan, judged and reported, against the macro's own
// call.  Plans of two lengths tell what a run costs and what the plan costs besides.

namespace {

constexpr std::string_view STEP = R"(
[[step]]
macro = "cp_9A12_0101"
units = "cpu"
fields = {group = 1}
for = {index = "0-7"}
)";

engine::Bench &bench() {
  static engine::Bench opened{{{}, {}, {MACRO_LIBRARY}, {}}};
  return opened;
}

/// A plan of so many steps, 32 runs each on the default machine.
class PlanRun {
 public:
  explicit PlanRun(int steps) {
    std::string text = "title = \"Benchmark\"\n";
    for (int i = 0; i < steps; ++i)
      text += STEP;
    bench().open();
    plan_ = engine::read_plan({"benchmark", "benchmark.toml", text}, bench().catalogue(), bench().chips());
  }

  void operator()() const {
    const std::unique_ptr<engine::PlanReporter> text = engine::make_text_reporter([](std::string_view) {}, false);
    engine::PlanEngine engine{bench(), plan_, {text.get()}, nullptr};
    engine::StopToken stop{nullptr};
    const engine::PlanEnd end = engine.run({"benchmark", "1", ""}, stop);
    if (end.conclusion != engine::Conclusion::passed || end.made != plan_.cases())
      throw std::runtime_error("the plan did not pass");
  }

  [[nodiscard]] const engine::Plan &plan() const { return plan_; }

 private:
  engine::Plan plan_;
};

/// The same runs without plan and judgement: the calls of the macro alone.
class MacroCalls {
 public:
  explicit MacroCalls(const engine::Plan &plan) : plan_{plan} {}

  void operator()() const {
    std::array<macro_word, 16> para{};
    std::array<macro_word, 16> data{};
    std::array<macro_word, ERROR_RECORD_WORDS> err{};
    std::array<macro_word, engine::EXP_WORDS> exp{};
    for (const engine::PlanStep &step : plan_.steps)
      for (const engine::Selection &unit : step.units)
        for (const engine::PlanVariant &variant : step.variants) {
          para[0] = variant.request.para.front();
          scdb::begin_run();
          variant.request.macro->entry(unit.type, unit.number, unit.mring.data(), variant.request.rw, para.data(),
                                       data.data(), err.data(), exp.data());
          if (_RETURN == MACRO_FAILED)
            throw std::runtime_error("a primitive failed");
        }
  }

 private:
  const engine::Plan &plan_;
};

void count() {
  const PlanRun one{1};
  const PlanRun ten{10};
  counted("plan of 1", one);
  counted("plan of 10", ten);
  counted("calls of 1", MacroCalls{one.plan()});
  counted("calls of 10", MacroCalls{ten.plan()});
}

void plan_of(benchmark::State &state) {
  const PlanRun run{static_cast<int>(state.range(0))};
  for (auto _ : state)
    run();
}
BENCHMARK(plan_of)->Arg(1)->Arg(10);

void calls_of(benchmark::State &state) {
  const PlanRun run{static_cast<int>(state.range(0))};
  const MacroCalls calls{run.plan()};
  for (auto _ : state)
    calls();
}
BENCHMARK(calls_of)->Arg(1)->Arg(10);

}  // namespace

int main(int argc, char **argv) {
  return benchmark_main(argc, argv, count);
}
