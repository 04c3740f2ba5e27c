#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "scdb/macros.hpp"
#include "scdb/session.hpp"

// Macros on the simulated server, and the insertion and extraction of ring bits that large dumps live on.

namespace {

/// Counts accesses of a run: every primitive call but the pure bit-field mover.
class Counter : public scdb::Observer {
 public:
  std::size_t calls = 0;
  scdb::Reason before(const scdb::Call &call) override {
    calls += call.primitive != scdb::Primitive::shift ? 1 : 0;
    return scdb::Reason::none;
  }
};

/// A macro on one chip, and what it is given.
struct Run {
  const char *macro;
  scdb::ChipKind kind;
  macro_word rw;
  std::vector<macro_word> para;
};

void macro(benchmark::State &state, const Run &run) {
  if (scdb::macros().empty())
    scdb::load_macro_library(MACRO_LIBRARY);
  const scdb::Macro *found = scdb::find_macro(std::string_view(run.macro));
  if (found == nullptr) {
    state.SkipWithError("the library has no such macro");
    return;
  }
  std::vector<macro_word> para(run.para);
  para.resize(32);
  std::vector<macro_word> data(122'880);
  std::vector<macro_word> err(ERROR_RECORD_WORDS);
  std::vector<macro_word> exp(16);
  const macro_word mring[MRING_WORDS] = {scdb::chip_bit(run.kind, 0)};
  const auto once = [&] {
    scdb::begin_run();
    found->entry(scdb::unit_type_of(run.kind), 1, mring, run.rw, para.data(), data.data(), err.data(), exp.data());
    return _RETURN != MACRO_FAILED;
  };
  Counter counter;
  {
    const scdb::Observing observing(counter);
    if (!once()) {
      state.SkipWithError("the macro failed");
      return;
    }
  }
  for (auto _ : state)
    benchmark::DoNotOptimize(once());
  state.counters["accesses"] = static_cast<double>(counter.calls);
  state.counters["accesses/s"] =
      benchmark::Counter(static_cast<double>(counter.calls), benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK_CAPTURE(macro, five_calls, Run{"cp_9A11_0101", scdb::ChipKind::cpu, 1, {}});
BENCHMARK_CAPTURE(macro, register_dump, Run{"cp_9A10_0101", scdb::ChipKind::cpu, 1, {}});
BENCHMARK_CAPTURE(macro, cache_line_dump, Run{"cp_9AC5_0101", scdb::ChipKind::cpu, 1, {5, 1}});
BENCHMARK_CAPTURE(macro, id_walk, Run{"cpj_A303_0101", scdb::ChipKind::cpu, 1, {0, 1}});
BENCHMARK_CAPTURE(macro, long_read_2048, Run{"cpj_A300_0101", scdb::ChipKind::cpu, 1, {0, 2048}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(macro, crossbar_dump, Run{"xb_9408_0101", scdb::ChipKind::xb, 1, {}})->Unit(benchmark::kMillisecond);

// 32 single bits that count down, and two runs of 16, as the macros pass them.
#define DOWN_8(first) (first), (first)-1, (first)-2, (first)-3, (first)-4, (first)-5, (first)-6, (first)-7
#define DOWN_32(first) DOWN_8(first), DOWN_8((first)-8), DOWN_8((first)-16), DOWN_8((first)-24)

constexpr macro_word TOP = 0x1B873A8;
macro_word err[ERROR_RECORD_WORDS];

void put_32_single_bits(benchmark::State &state) {
  macro_word value = 0x12345678;
  for (auto _ : state) {
    lmcr_sin(_SCANBUFFER, err, &_RETURN, value++, 0xFFFFFFFF, DOWN_32(TOP));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(put_32_single_bits);

void get_32_single_bits(benchmark::State &state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(lmcr_sout(_SCANBUFFER, err, &_RETURN, 0xFFFFFFFF, DOWN_32(TOP)));
}
BENCHMARK(get_32_single_bits);

void put_two_runs(benchmark::State &state) {
  macro_word value = 0x12345678;
  for (auto _ : state) {
    lmcr_sin(_SCANBUFFER, err, &_RETURN, value++, 0xFFFFFFFF, 0xF1E0000C, 0xF1E0001C);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(put_two_runs);

void get_two_runs(benchmark::State &state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(lmcr_sout(_SCANBUFFER, err, &_RETURN, 0xFFFFFFFF, 0xF1E0000C, 0xF1E0001C));
}
BENCHMARK(get_two_runs);

// The same 32 bits one at a time.

void put_bit_by_bit(benchmark::State &state) {
  macro_word value = 0x12345678;
  for (auto _ : state) {
    for (unsigned i = 0; i < 32; ++i) {
      const unsigned position = (TOP & 0x7FFFF) - i;
      const macro_word bit = 0x80000000U >> position % 32;
      if ((value >> (31 - i) & 1) != 0)
        _SCANBUFFER[position / 32] |= bit;
      else
        _SCANBUFFER[position / 32] &= ~bit;
    }
    ++value;
    benchmark::ClobberMemory();
  }
}
BENCHMARK(put_bit_by_bit);

void get_bit_by_bit(benchmark::State &state) {
  for (auto _ : state) {
    macro_word value = 0;
    for (unsigned i = 0; i < 32; ++i) {
      const unsigned position = (TOP & 0x7FFFF) - i;
      value = value << 1 | (_SCANBUFFER[position / 32] >> (31 - position % 32) & 1);
    }
    benchmark::DoNotOptimize(value);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(get_bit_by_bit);

}  // namespace

BENCHMARK_MAIN();
