#include "engine/run/series.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "engine/report/run_report.hpp"

namespace engine {
namespace {

struct VerdictRow {
  Verdict verdict;
  std::string_view title;
  const char *key;  ///< in JSON
};
constexpr std::array<VerdictRow, 6> VERDICT_ROWS{{
    {Verdict::ok, "ok", "ok"},
    {Verdict::failed, "failed", "failed"},
    {Verdict::finding, "with findings", "finding"},
    {Verdict::unexpected, "not as expected", "unexpected"},
    {Verdict::stopped, "stopped", "stopped"},
    {Verdict::not_run, "not run", "not_run"},
}};

Verdict verdict_of(const UnitOutcome &outcome) {
  const RunResult &run = outcome.last;
  if (run.stop)
    return Verdict::stopped;
  if (!run.ok() || (run.restoration && !run.restoration->outcome.ok()))
    return Verdict::failed;
  if (!findings_of(outcome.request, run).empty())
    return Verdict::finding;
  return outcome.comparison.first ? Verdict::unexpected : Verdict::ok;
}

/// Units in the form in which they are given, those of one kind as one: "cpu:0.0-1 sc:1.0".
std::string names_of(const std::vector<Selection> &units) {
  std::vector<Selection> joined;
  for (const Selection &unit : units) {
    const auto same = std::ranges::find(joined, unit.type, &Selection::type);
    if (same == joined.end()) {
      joined.push_back(unit);
      continue;
    }
    same->number |= unit.number;
    for (std::size_t board = 0; board < unit.mring.size(); ++board)
      same->mring[board] |= unit.mring[board];
  }
  std::string names;
  for (const Selection &unit : joined)
    names += (names.empty() ? "" : " ") + describe(unit.words());
  return names;
}

}  // namespace

std::size_t Tally::size() const {
  std::size_t size = 0;
  for (const std::vector<Selection> &units : units_)
    size += units.size();
  return size;
}

Tally run_series(const RunRequest &request, std::span<const Selection> units, const SeriesRules &rules,
                 Interruption &interruption, const std::function<RunResult(const RunRequest &)> &run,
                 const std::function<void(const UnitOutcome &)> &report) {
  Tally tally;
  for (const Selection &unit : units) {
    // The first one is run in any case: it stops at its first primitive call, and its report says so.
    const bool stop = interruption.stopped() || !(tally.all_ok() || rules.keep_going);
    if (stop && tally.size() != 0) {
      tally.add(Verdict::not_run, unit);
      continue;
    }
    UnitOutcome outcome;
    outcome.request = request;
    outcome.request.unit = unit;
    do {
      outcome.last = run(outcome.request);
      ++outcome.made;
      if (rules.restore_open_rings)
        restore_open_rings(outcome.last);
      outcome.comparison = compare(rules.expectation, outcome.request, outcome.last);
      outcome.verdict = verdict_of(outcome);
    } while (outcome.verdict == Verdict::ok && outcome.made < rules.times && !interruption.stopped());
    if (outcome.verdict == Verdict::ok && outcome.made < rules.times)
      outcome.verdict = Verdict::stopped;
    tally.add(outcome.verdict, unit);
    report(outcome);
  }
  return tally;
}

std::string text_of(const Tally &tally) {
  std::string text = fmt::format("{} units: {} ok", tally.size(), tally.units(Verdict::ok).size());
  for (const VerdictRow &row : VERDICT_ROWS)
    if (const std::vector<Selection> &units = tally.units(row.verdict); row.verdict != Verdict::ok && !units.empty())
      text += fmt::format(", {} {}: {}", units.size(), row.title, names_of(units));
  return text;
}

nlohmann::ordered_json json_of(const Tally &tally) {
  nlohmann::ordered_json json{{"units", tally.size()}};
  for (const VerdictRow &row : VERDICT_ROWS) {
    nlohmann::ordered_json names = nlohmann::ordered_json::array();
    for (const Selection &unit : tally.units(row.verdict))
      names.push_back(describe(unit.words()));
    json[row.key] = std::move(names);
  }
  return json;
}

}  // namespace engine
