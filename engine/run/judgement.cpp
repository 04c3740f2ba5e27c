#include "engine/run/judgement.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "engine/run/explain.hpp"
#include "engine/text/words.hpp"
#include "scdb/record.hpp"

namespace engine {
namespace {

constexpr std::array<std::string_view, CONCLUSIONS> NAMES{"skipped", "passed", "failed", "error", "stopped"};

bool left_its_areas(const RunResult &run) {
  return run.crash || !run.underruns.empty();
}

/// Whether a failed run says nothing of the hardware: it crashed, or asked for what the machine does not have.
bool says_nothing(const RunResult &run) {
  if (left_its_areas(run))
    return true;
  const std::optional<scdb::Failure> failure = scdb::read_failure(run.record);
  if (!failure)
    return false;
  const scdb::Reason reason = failure->outcome.reason;
  return scdb::class_of(reason) != scdb::FailureClass::hardware && reason != scdb::Reason::macro_failed;
}

Verdict verdict_of(const RunResult &run, const Judgement &judgement) {
  if (run.stop)
    return Verdict::stopped;
  if (!run.ok())
    return says_nothing(run) ? Verdict::error : Verdict::failure;
  if (!judgement.failures.empty())
    return Verdict::failure;
  return judgement.findings.empty() ? Verdict::pass : Verdict::finding;
}

Conclusion conclude(const RunResult &run, const Judgement &judgement, Verdict expected) {
  if (run.stop)
    return run.stop->cause == StopCause::own_limit ? Conclusion::error : Conclusion::stopped;
  // That a machine lacks something can be what is expected.
  const bool refused = judgement.verdict == Verdict::error && !left_its_areas(run) && expected == Verdict::failure;
  if ((judgement.verdict == expected || refused) && judgement.mismatches.empty())
    return Conclusion::passed;
  return judgement.verdict == Verdict::error ? Conclusion::error : Conclusion::failed;
}

MeasuredValue measured(const ShownValue &value) {
  return {value.name, value.value, shown_text(value), {}};
}

/// What was expected by name.
void check_names(const Expectation &expectation, const RunRequest &request, const RunResult &run,
                 Judgement &judgement) {
  if (expectation.named.empty())
    return;
  // What the caller gave counts as well.
  const Arguments arguments{*request.entry, request.rw, request.para};
  DataWords words(arguments.data_words(false));
  for (std::size_t i = 0; i < words.size(); ++i)
    words[i] = data_word(request, run, i);
  const std::vector<DecodedBlock> blocks = decode(arguments, words);
  const std::vector<ShownValue> shown = shown_values(blocks);
  for (const NamedExpectation &wanted : expectation.named) {
    const auto found = std::ranges::find(shown, wanted.name, &ShownValue::name);
    const ShownValue value = found != shown.end() ? *found : ShownValue{wanted.name, nullptr, {}};
    MeasuredValue &checked = judgement.checked.emplace_back(measured(value));
    checked.expected = MeasuredValue::Expected{wanted.number, wanted.text, holds(wanted, value)};
    if (!checked.expected->holds)
      judgement.mismatches.push_back(fmt::format("{} is {} instead of {}", checked.name, checked.text, wanted.text));
  }
}

/// What was expected as words.
void check_words(const Expectation &expectation, const RunRequest &request, const RunResult &run,
                 Judgement &judgement) {
  judgement.comparison = compare(expectation, request, run);
  if (judgement.comparison.first)
    judgement.mismatches.push_back(describe(judgement.comparison));
  for (std::size_t i = 0; i < std::min(expectation.words.size(), MOST_MEASURED); ++i) {
    const macro_word mask = expectation.masks[i];
    const macro_word expected = expectation.words[i] & mask;
    MeasuredValue &value = judgement.checked.emplace_back();
    value.name = mask == MACRO_ALL ? fmt::format("_DATA[{}]", i) : fmt::format("_DATA[{}] & {}", i, hex(mask));
    const std::optional<macro_word> is = data_word(request, run, i);
    if (is)
      value.number = *is & mask;
    value.text = is ? hex(*is & mask) : "not written";
    value.expected = MeasuredValue::Expected{expected, hex(expected), mask == 0 || (is && (*is & mask) == expected)};
  }
}

}  // namespace

std::string_view name_of(Conclusion conclusion) {
  return NAMES.at(static_cast<std::size_t>(conclusion));
}

std::optional<Conclusion> conclusion_named(std::string_view name) {
  const auto *const found = std::ranges::find(NAMES, name);
  return found == NAMES.end() ? std::nullopt : std::optional{static_cast<Conclusion>(found - NAMES.begin())};
}

Judgement judge(const RunRequest &request, const RunResult &run, const Expectation &expectation) {
  if (expectation.masks.size() != expectation.words.size() || (!expectation.named.empty() && !request.entry))
    throw std::logic_error("an expectation has a mask for each word, and names where the catalogue has an entry");
  Judgement judgement;
  judgement.failures = failures_of(run, request.entry.get());
  judgement.notes = notes_of(run);
  if (request.entry) {
    const Arguments arguments{*request.entry, request.rw, request.para};
    judgement.decoded = decode(arguments, run.data);
    if (run.ok())
      judgement.findings = findings_of(arguments, run.data, judgement.decoded);
  }
  check_names(expectation, request, run, judgement);
  check_words(expectation, request, run, judgement);
  judgement.verdict = verdict_of(run, judgement);
  judgement.conclusion = conclude(run, judgement, expectation.verdict);
  return judgement;
}

std::vector<MeasuredValue> measured_values(const Judgement &judgement) {
  std::size_t words = 0;
  for (const DecodedBlock &block : judgement.decoded)
    words += block.size() * std::max<std::size_t>(block.layout().fields.size(), 1);
  if (words > MOST_MEASURED)
    return {};
  std::vector<MeasuredValue> values;
  const std::vector<ShownValue> shown = shown_values(judgement.decoded);
  if (shown.size() > MOST_MEASURED)
    return values;
  for (const ShownValue &value : shown)
    if (std::ranges::find(judgement.checked, value.name, &MeasuredValue::name) == judgement.checked.end())
      values.push_back(measured(value));
  return values;
}

std::string reason_of(Conclusion conclusion, Verdict verdict, Verdict expected) {
  if (verdict != expected)
    return fmt::format("{} instead of {}", name_of(verdict), name_of(expected));
  return conclusion == Conclusion::error ? "error" : "results not as expected";
}

std::string place_of(const RunRequest &request, const RunResult &run) {
  const std::optional<scdb::Failure> failure = scdb::read_failure(run.record);
  return failure && failure->outcome.placed ? scdb::to_string(failure->outcome.place) : describe(request.unit.words());
}

}  // namespace engine
