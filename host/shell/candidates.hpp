#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/names.hpp"

namespace host {

/// A way to go on with a word.
struct Candidate {
  std::string text;      ///< the whole word
  bool finished = true;  ///< nothing more can follow in this word
};

/// Ways to go on with a line.
struct LineCompletion {
  std::size_t start = 0;              ///< where the word begins that they replace
  std::vector<Candidate> candidates;  ///< with the quotes that the line needs
};

/// Gives candidates the quotes that a line needs.
/// @param open  what the line ends within, as take_apart() tells it.
void quote(std::vector<Candidate> &candidates, char open);

/// The beginning that all of them have in common.
[[nodiscard]] std::string common_beginning(const std::vector<Candidate> &candidates);

/// What another shell is to put for the part of a word that it takes for the word: a line each, with a blank at the end
/// of a finished word.
/// @param line    up to the cursor.
/// @param breaks  characters at which that shell begins a word anew.
[[nodiscard]] std::string lines_for_shell(const LineCompletion &completion, std::string_view line,
                                          std::string_view breaks);

}  // namespace host
