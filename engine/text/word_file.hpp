#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/text/error.hpp"
#include "libscfjtag.h"

/// Files of macro words: big-endian words on every processor, or text where the name ends with ".txt".
namespace engine {

[[nodiscard]] bool is_text_file(std::string_view path);

/// Four bytes for each word, the most significant first.
[[nodiscard]] std::string bytes_of(std::span<const macro_word> words);

/// The reverse.
/// @param origin  what error messages start with.
/// @throw InputError when the bytes are no whole number of words.
[[nodiscard]] std::vector<macro_word> words_of_bytes(std::string_view bytes, std::string_view origin);

/// Hexadecimal words, four to a line.
[[nodiscard]] std::string text_of(std::span<const macro_word> words);

/// The reverse: words as people type them, separated by blanks, line ends and commas; "#" starts a comment.
/// @param first_line  number of the text's first line.
/// @throw InputError with line and column for what is no word.
[[nodiscard]] std::vector<macro_word> words_of_text(std::string_view text, std::string_view origin,
                                                    unsigned first_line = 1);

/// @param what  what error messages start with.
/// @throw InputError
[[nodiscard]] std::vector<macro_word> read_words(const std::string &path, const Label &what);
void write_words(const std::string &path, std::span<const macro_word> words, const Label &what);

}  // namespace engine
