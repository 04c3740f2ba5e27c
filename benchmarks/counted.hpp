#pragma once

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <string>

/// Instruction counts beside times.  Run under callgrind, a benchmark program makes each measured call once and leaves
/// a dump for it; otherwise it runs its Google Benchmarks.  report.py reads both.

/// Counts the instructions of one call, the second: what a first one sets up is not counted.
template <class Body>
void counted(const std::string &name, Body &&body) {
  body();
  CALLGRIND_ZERO_STATS;
  body();
  CALLGRIND_DUMP_STATS_AT(name.c_str());
}

/// The main function of a benchmark program.
/// @param count makes the counted calls.
inline int benchmark_main(int argc, char **argv, void (*count)()) {
  if (RUNNING_ON_VALGRIND != 0) {
    count();
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 2;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
