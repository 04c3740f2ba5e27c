#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/names.hpp"

namespace host {

/// A line taken apart as shells do: blanks separate words; '...' keeps everything, "..." and \ keep what shells keep
/// with them; # at the start of a word begins a comment.
struct LineWords {
  std::vector<std::string> words;
  std::size_t last = 0;  ///< where the last word starts; the end of the line after a blank
  bool blank = true;     ///< the line is empty, or ends with a blank: a new word would start here
  bool comment = false;  ///< the line ends with a comment
  char open = '\0';      ///< what the line ends within: ' or ", or a \ that nothing follows
};
[[nodiscard]] LineWords take_apart(std::string_view line);

/// The words of a whole line.
/// @throw InputError when a quote is not closed, or nothing follows a backslash.
[[nodiscard]] std::vector<std::string> words_of(std::string_view line);

/// The text as one word of a line.
[[nodiscard]] std::string quoted_word(std::string_view text);

}  // namespace host
