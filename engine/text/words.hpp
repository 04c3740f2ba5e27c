#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "libscfjtag.h"

namespace engine {

inline constexpr macro_word BYTES_OF_A_WORD = 4;

/// Reports show words in rows of this many.
inline constexpr std::size_t WORDS_A_ROW = 4;

/// Reads a macro word: decimal or, after 0x, hexadecimal; a negative number stands for its two's complement.
/// @param what  what error messages call the number, for example "--rw".
/// @throw InputError for what is no number from -2147483648 to 0xFFFFFFFF.
[[nodiscard]] macro_word parse_word(std::string_view text, std::string_view what);

/// As parse_word(), for a list.
[[nodiscard]] std::vector<macro_word> parse_words(const std::vector<std::string> &texts, std::string_view what);

/// "0x0000002A".
[[nodiscard]] std::string hex(macro_word word);

/// The same at the end of a text; a dump has many.
void append_hex(std::string &text, macro_word word);

/// The numbers of the bits set, counted from the least significant, as people write them: "0,2-3".
[[nodiscard]] std::string list_of_bits(macro_word mask);

/// The texts one after another.
[[nodiscard]] std::string joined(const std::vector<std::string> &texts, std::string_view separator = ", ");

/// "1 word", "2 words".
/// @param many  the word for several, where it takes more than an s.
[[nodiscard]] std::string count_of(std::size_t count, std::string_view one, std::string_view many = {});

/// Takes a text apart at every `separator`; a text without one is one piece.
[[nodiscard]] std::vector<std::string_view> split(std::string_view text, char separator);

}  // namespace engine
