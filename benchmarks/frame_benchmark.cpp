#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string_view>

#include "hand_written.hpp"
#include "macrodebug.h"

// What the frame costs: cp_9A10_0101 against the same calls written by hand, over primitives that do nothing.
// `frame_benchmark --runs N frame` and `--runs N hand` run one of them N times, for counting instructions.

namespace {

const macro_word MRING[MRING_WORDS] = {0x10000};
macro_word data[48];
macro_word err[ERROR_RECORD_WORDS];

int run(macro_entry *entry) {
  return entry(1, 1, MRING, 1, nullptr, data, err, nullptr);
}

void dump(benchmark::State &state, macro_entry *entry) {
  for (auto _ : state)
    benchmark::DoNotOptimize(run(entry));
}

BENCHMARK_CAPTURE(dump, frame, cp_9A10_0101);
BENCHMARK_CAPTURE(dump, hand_written, hand_written_dump);

}  // namespace

int main(int argc, char **argv) {
  if (argc == 4 && std::string_view(argv[1]) == "--runs") {
    macro_entry *entry = std::string_view(argv[3]) == "frame" ? cp_9A10_0101 : hand_written_dump;
    for (long i = std::strtol(argv[2], nullptr, 10); i > 0; --i)
      run(entry);
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
