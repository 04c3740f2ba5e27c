#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/command/options.hpp"
#include "host/names.hpp"

namespace host {

/// A way to go on with a word.
struct Candidate {
  std::string text;      ///< the whole word
  bool finished = true;  ///< nothing more can follow in this word
};

/// Ways to go on with the last of the words, which may be empty.  There are none where something on the way, such as a
/// machine or a library, cannot be had.
/// @param commands  all of them.
/// @param words     without the name of the program.
[[nodiscard]] std::vector<Candidate> complete(const CLI::App &commands, const std::vector<std::string> &words);

/// Ways to go on with a line.
struct LineCompletion {
  std::size_t start = 0;              ///< where the word begins that they replace
  std::vector<Candidate> candidates;  ///< with the quotes that the line needs
};

/// @param line  up to the cursor; it may begin with the name of the program.
[[nodiscard]] LineCompletion complete_line(std::string_view line);

/// The beginning that all of them have in common.
[[nodiscard]] std::string common_beginning(const std::vector<Candidate> &candidates);

}  // namespace host
