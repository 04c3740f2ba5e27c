#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/decode.hpp"
#include "engine/run/expectation.hpp"

/// What came of a run, judged once: whoever reports a run, counts it or goes on from it has it from here.
namespace engine {

/// What came of a run, or of many, in the light of what was expected; the later, the graver.
enum class Conclusion : std::uint8_t {
  skipped,  ///< it was not run
  passed,   ///< as expected
  failed,   ///< the hardware is not as expected
  error,    ///< the run could not tell: it crashed, asked for what is not there, or was not over in its time
  stopped,  ///< somebody wanted no more, or the time for all of it was over
};
inline constexpr std::size_t CONCLUSIONS = 5;
/// "skipped", "passed", "failed", "error", "stopped".
[[nodiscard]] std::string_view name_of(Conclusion conclusion);
/// The reverse.
[[nodiscard]] std::optional<Conclusion> conclusion_named(std::string_view name);

/// A result that was read, and what was expected of it.
struct MeasuredValue {
  std::string name;
  std::optional<std::uint64_t> number;  ///< nothing where it was not written
  std::string text;                     ///< as a run shows it

  struct Expected {
    std::optional<std::uint64_t> number;
    std::string text;
    bool holds = false;
  };
  std::optional<Expected> expected;
};

/// The results of a run by name are kept one by one up to so many; of dumps nobody asked for single ones.
inline constexpr std::size_t MOST_MEASURED = 64;

/// What came of a run.  Request and result must outlive it: `decoded` looks into them.
struct Judgement {
  Verdict verdict = Verdict::pass;
  Conclusion conclusion = Conclusion::passed;
  // A sentence each.
  std::vector<std::string> failures;    ///< what went wrong, the gravest first
  std::vector<std::string> findings;    ///< what a run without failure found
  std::vector<std::string> mismatches;  ///< results that are not as expected
  std::vector<std::string> notes;       ///< what else became of open rings
  std::vector<DecodedBlock> decoded;    ///< what the catalogue names in _DATA
  Comparison comparison;                ///< of words
  std::vector<MeasuredValue> checked;   ///< results of which something was expected
};

/// @throw std::logic_error for an expectation with fewer masks than words, or with names for a macro without an entry.
[[nodiscard]] Judgement judge(const RunRequest &request, const RunResult &run, const Expectation &expectation);
Judgement judge(const RunRequest &request, RunResult &&run, const Expectation &expectation) = delete;

/// Results with names of which nothing was expected; none of a dump.
[[nodiscard]] std::vector<MeasuredValue> measured_values(const Judgement &judgement);

/// Why a run was not as expected, in a few words: "failure instead of pass", "results not as expected".
[[nodiscard]] std::string reason_of(Conclusion conclusion, Verdict verdict, Verdict expected);

/// The chip to look at after a run, or the unit.
[[nodiscard]] std::string place_of(const RunRequest &request, const RunResult &run);

}  // namespace engine
