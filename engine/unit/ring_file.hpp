#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "scdb/units.hpp"

namespace engine {

/// Which ring contents belong to.
struct RingShape {
  scdb::ChipKind kind{};
  macro_word ring = 0;   ///< ring code
  std::size_t bits = 0;  ///< its length

  friend bool operator==(const RingShape &, const RingShape &) = default;
};

/// "ring 0x3C of cpu, 37707 bits".
[[nodiscard]] std::string describe(const RingShape &shape);

/// Words that a ring of this length covers.
[[nodiscard]] constexpr std::size_t words_of(const RingShape &shape) {
  return (shape.bits + 31) / 32;
}

/// Keeps a ring's words in a file.  Where its name ends with ".txt" that is text, the description on the first line;
/// else big-endian words: "RING", version 1, unit type, ring code and length in bits, then the ring's.
/// @throw InputError
void write_ring_file(const std::string &path, const RingShape &shape, std::span<const macro_word> words);

/// The words that a file keeps for this ring.
/// @throw InputError for a file of another ring or length, a damaged one, or one that cannot be read.
[[nodiscard]] std::vector<macro_word> read_ring_file(const std::string &path, const RingShape &shape);

/// The same, of a file's content; its path tells whether that is text.
[[nodiscard]] std::vector<macro_word> ring_words(std::string_view content, const std::string &path,
                                                 const RingShape &shape);

}  // namespace engine
