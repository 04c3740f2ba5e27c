#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "engine/report/plan_reporters.hpp"
#include "engine/report/run_report.hpp"
#include "engine/text/error.hpp"
#include "engine/text/file.hpp"

namespace engine {
namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

/// What a text begins with: the bytes of a UTF-8 character, or one that is none.
struct Character {
  std::size_t length = 1;
  bool accepted = false;  ///< by XML
};

Character first_character(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(0);
  if (first < 0x80)
    return {1, first >= 0x20 || first == '\t' || first == '\n' || first == '\r'};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length)
    return {};
  std::uint32_t code = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80)
      return {};
    code = code << 6 | (byte(i) & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 5> LEAST{0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < LEAST.at(length) || code > 0x10FFFF)
    return {};
  return {length, !surrogate && code != 0xFFFE && code != 0xFFFF};
}

/// Text for an attribute in double quotes, which loses line ends that are not escaped, or for an element.
std::string xml(std::string_view text, bool in_element = false) {
  std::string escaped;
  while (!text.empty()) {
    const auto [length, accepted] = first_character(text);
    switch (accepted ? text[0] : '\0') {
      case '\0':
        escaped += REPLACEMENT;
        break;
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\t':
      case '\n':
      case '\r':
        escaped += in_element ? std::string(1, text[0]) : fmt::format("&#{};", static_cast<int>(text[0]));
        break;
      default:
        escaped += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return escaped;
}

struct Counts {
  std::size_t tests = 0;
  std::size_t failures = 0;
  std::size_t errors = 0;
  std::size_t skipped = 0;

  void count(Conclusion outcome) {
    ++tests;
    failures += outcome == Conclusion::failed ? 1 : 0;
    errors += outcome > Conclusion::failed ? 1 : 0;
    skipped += outcome == Conclusion::skipped ? 1 : 0;
  }
  [[nodiscard]] std::string attributes() const {
    return fmt::format(R"(tests="{}" failures="{}" errors="{}" skipped="{}")", tests, failures, errors, skipped);
  }
};

std::string seconds(Instant begin, Instant end) {
  return fmt::format("{:.6f}", std::max(seconds_between(begin, end), 0.0));
}

std::string property(std::string_view name, std::string_view value) {
  return fmt::format("      <property name=\"{}\" value=\"{}\"/>\n", name, xml(value));
}

/// The sentences that say why a run was not as expected, a line each.
std::string sentences_of(const CaseResult &result) {
  std::string lines;
  for (const auto &[what, all] : {std::pair{"failure", &result.failures}, std::pair{"finding", &result.findings},
                                  std::pair{"mismatch", &result.mismatches}})
    for (const std::string &sentence : *all)
      lines += fmt::format("{}: {}\n", what, sentence);
  return lines;
}

std::string notes_of(const CaseResult &result) {
  std::string lines;
  for (const std::string &note : result.notes)
    lines += fmt::format("note: {}\n", note);
  return lines;
}

class JunitReporter : public PlanReporter {
 public:
  explicit JunitReporter(std::string path) : path_{std::move(path)} {}

  void begin(const PlanStart &start) override {
    name_ = start.plan.name;
    title_ = start.plan.title;
    machine_ = start.machine;
    begin_ = start.time;
  }

  void begin_step(const StepStart &start) override {
    cases_.clear();
    suite_ = {};
    step_begin_ = start.time;
  }

  void add(const PlanStep &step, const PlanVariant &variant, const CaseResult &result) override {
    const std::string name = result.values.empty() ? result.unit : fmt::format("{} {}", result.unit, result.values);
    std::string inside;
    if (result.conclusion != Conclusion::passed) {
      const std::string_view element = result.conclusion == Conclusion::failed ? "failure" : "error";
      inside = fmt::format("      <{} type=\"{}\" message=\"{}\">{}</{}>\n", element,
                           result.verdict != step.verdict ? name_of(result.verdict) : "mismatch",
                           xml(reason_of(result.conclusion, result.verdict, step.verdict)),
                           xml(sentences_of(result), true), element);
    }
    if (!result.notes.empty())
      inside += fmt::format("      <system-out>{}</system-out>\n", xml(notes_of(result), true));
    add_case(variant.request.macro->name, name, seconds(result.begin, result.end), inside, result.conclusion);
  }

  void end_step(const StepEnd &end) override {
    if (!end.skipped.empty())
      add_case(end.step.macro, end.made == 0 ? "all runs" : "other runs", "0",
               fmt::format("      <skipped message=\"{}\"/>\n", xml(end.skipped)), Conclusion::skipped);
    std::string time = time_text(step_begin_);
    time.pop_back();  // The zone is UTC, and consumers take none.
    suites_ += fmt::format(
        "  <testsuite name=\"{}\" {} time=\"{}\" timestamp=\"{}\">\n    <properties>\n{}{}{}    "
        "</properties>\n{}  </testsuite>\n",
        xml(end.step.cleanup ? "cleanup: " + end.step.name : end.step.name), suite_.attributes(),
        seconds(step_begin_, end.time), time, property("machine", machine_.name),
        property("simulated", machine_.simulated ? "true" : "false"), property("macro", end.step.macro), cases_);
  }

  void end(const PlanEnd &end) override {
    write_file(path_,
               fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"{}\" {} time=\"{}\">\n{}"
                           "</testsuites>\n",
                           xml(title_), all_.attributes(), seconds(begin_, end.time), suites_),
               Subject::junit);
  }

 private:
  void add_case(std::string_view macro, std::string_view name, std::string_view time, std::string_view inside,
                Conclusion outcome) {
    suite_.count(outcome);
    all_.count(outcome);
    cases_ += fmt::format("    <testcase classname=\"{}.{}\" name=\"{}\" time=\"{}\"", xml(name_), xml(macro),
                          xml(name), time)
              + (inside.empty() ? "/>\n" : fmt::format(">\n{}    </testcase>\n", inside));
  }

  std::string path_;
  std::string name_;
  std::string title_;
  MachineInfo machine_;
  Instant begin_;
  Instant step_begin_;
  Counts all_;
  Counts suite_;
  std::string cases_;
  std::string suites_;
};

}  // namespace

std::unique_ptr<PlanReporter> make_junit_reporter(std::string path) {
  return std::make_unique<JunitReporter>(std::move(path));
}

}  // namespace engine
