#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "engine/run/runner.hpp"

namespace engine {

/// What the first words of _DATA should be after a run.
struct Expectation {
  std::vector<macro_word> words;
  std::vector<macro_word> masks;  ///< bits that are compared: one for each word
};

/// Reads --expect and --mask.
/// @param expected  words, or the name of one file that keeps them.
/// @param masks     none, one for all words, or one for each.
/// @throw InputError
[[nodiscard]] Expectation parse_expectation(const std::vector<std::string> &expected,
                                            const std::vector<std::string> &masks);

/// What came of the comparison.
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

/// "expected: all 2 words are as expected", or how many differ and the first of them.
[[nodiscard]] std::string text_of(const Comparison &comparison);
[[nodiscard]] nlohmann::ordered_json json_of(const Comparison &comparison);

}  // namespace engine
