#include "engine/run/series.hpp"

#include <algorithm>
#include <utility>

namespace engine {

std::size_t Tally::size() const {
  std::size_t size = 0;
  for (const std::vector<Selection> &units : units_)
    size += units.size();
  return size;
}

Tally run_series(Bench &bench, const RunRequest &request, std::span<const Selection> units, const SeriesRules &rules,
                 StopToken &stop, const std::function<void(const RunResult &)> &made,
                 const std::function<void(const UnitOutcome &)> &report) {
  Tally tally;
  for (const Selection &unit : units) {
    // The first one is run in any case: it stops at its first primitive call, and its report says so.
    if ((stop.stopped() || !(tally.all_passed() || rules.keep_going)) && tally.size() != 0) {
      tally.add(Conclusion::skipped, unit);
      continue;
    }
    UnitOutcome outcome;
    outcome.request = request;
    outcome.request.unit = unit;
    do {
      outcome.last = bench.run(outcome.request, &stop);
      ++outcome.made;
      made(outcome.last);
      std::vector<std::string> notes = std::move(outcome.judgement.notes);
      outcome.judgement = judge(outcome.request, outcome.last, rules.expectation);
      // Also of earlier repetitions.
      for (std::string &note : outcome.judgement.notes)
        if (std::ranges::find(notes, note) == notes.end())
          notes.push_back(std::move(note));
      outcome.judgement.notes = std::move(notes);
      outcome.conclusion = outcome.judgement.conclusion;
    } while (outcome.conclusion == Conclusion::passed && outcome.made < rules.times && !stop.stopped());
    if (outcome.conclusion == Conclusion::passed && outcome.made < rules.times)
      outcome.conclusion = Conclusion::stopped;
    tally.add(outcome.conclusion, unit);
    report(outcome);
  }
  return tally;
}

}  // namespace engine
