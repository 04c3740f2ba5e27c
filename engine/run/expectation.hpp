#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/named_values.hpp"
#include "engine/run/runner.hpp"

namespace engine {

/// What a run says of the hardware.
enum class Verdict : std::uint8_t {
  pass,     ///< it ended without failure and found nothing
  finding,  ///< it ended without failure and found something
  failure,  ///< the hardware failed, or the macro refused its parameters
  error,    ///< nothing: it crashed, left its areas, or asked for what the machine does not have
  stopped,  ///< nothing: it was stopped before its end
};
/// "pass", "finding", "failure", "error", "stopped".
[[nodiscard]] std::string_view name_of(Verdict verdict);
/// The reverse.
[[nodiscard]] std::optional<Verdict> verdict_named(std::string_view name);
/// What can be expected of a run.
inline constexpr std::array EXPECTABLE_VERDICTS{Verdict::pass, Verdict::finding, Verdict::failure};

/// What a run should come to.
struct Expectation {
  Verdict verdict = Verdict::pass;  ///< pass, finding or failure
  std::vector<macro_word> words;    ///< what the first words of _DATA should be
  std::vector<macro_word> masks;    ///< bits of them that are compared: one for each word
  std::vector<NamedExpectation> named;
};

/// One mask for each word: those given, where one stands for all and none for all bits.
/// @throw InputError for another number of masks.
[[nodiscard]] std::vector<macro_word> masks_for(std::vector<macro_word> masks, std::size_t words);

/// What came of the comparison of words.
struct Comparison {
  std::size_t words = 0;      ///< compared
  std::size_t differing = 0;  ///< of them
  struct Difference {
    std::size_t index;
    std::optional<macro_word> is;  ///< nothing where the macro did not write the word
    macro_word expected;
    macro_word mask;
  };
  std::optional<Difference> first;
};

/// A word of _DATA after a run: nothing where neither the macro wrote nor the caller gave it.
[[nodiscard]] std::optional<macro_word> data_word(const RunRequest &request, const RunResult &run, std::size_t index);

/// The words of _DATA after a run, up to the last one written; 0 where nobody wrote.
[[nodiscard]] std::vector<macro_word> data_words(const RunRequest &request, const RunResult &run);

[[nodiscard]] Comparison compare(const Expectation &expectation, const RunRequest &request, const RunResult &run);

/// How many words differ and the first of them, in a sentence; empty where all are as expected.
[[nodiscard]] std::string describe(const Comparison &comparison);

}  // namespace engine
