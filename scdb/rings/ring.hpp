#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "scdb/access.hpp"

/// Bit fields of scan buffers.
namespace scdb {

/// Ring bits in a scan buffer.
inline constexpr std::size_t SCANBUFFER_BITS = std::size_t{SCANBUFFER_WORDS} * 32;

/// Buffer words that a ring of this many bits covers.
[[nodiscard]] constexpr std::size_t words_for(std::size_t bits) {
  return (bits + 31) / 32;
}

/// Bits `position` to `position + length - 1` of a buffer as a number, the first bit most significant.
/// @param length 1 to 32; the field lies within the buffer.
[[nodiscard]] constexpr macro_word get_field(const macro_word *buffer, unsigned position, unsigned length) {
  const unsigned word = position / 32;
  const unsigned end = position % 32 + length;
  std::uint64_t window = std::uint64_t{buffer[word]} << 32;
  if (end > 32)
    window |= buffer[word + 1];
  return static_cast<macro_word>(window >> (64 - end) & ((std::uint64_t{1} << length) - 1));
}

/// The reverse.
/// @param field its lowest `length` bits are used.
constexpr void put_field(macro_word *buffer, unsigned position, unsigned length, macro_word field) {
  const unsigned word = position / 32;
  const unsigned end = position % 32 + length;
  const std::uint64_t ones = ((std::uint64_t{1} << length) - 1) << (64 - end);
  const std::uint64_t bits = std::uint64_t{field} << (64 - end) & ones;
  buffer[word] = (buffer[word] & ~static_cast<macro_word>(ones >> 32)) | static_cast<macro_word>(bits >> 32);
  if (end > 32)
    buffer[word + 1] = (buffer[word + 1] & ~static_cast<macro_word>(ones)) | static_cast<macro_word>(bits);
}

/// The order of the bits of a word turned round.
[[nodiscard]] constexpr macro_word reverse(macro_word word) {
  word = (word & 0x55555555) << 1 | (word >> 1 & 0x55555555);
  word = (word & 0x33333333) << 2 | (word >> 2 & 0x33333333);
  word = (word & 0x0F0F0F0F) << 4 | (word >> 4 & 0x0F0F0F0F);
  word = (word & 0x00FF00FF) << 8 | (word >> 8 & 0x00FF00FF);
  return word << 16 | word >> 16;
}

/// Ring bits that lie side by side and are handed out one after another.
struct Stretch {
  unsigned position;  ///< of the lowest
  unsigned length;    ///< 1 to 32
  bool descending;    ///< the highest position is handed out first
};

/// Puts the most significant bits of `packed`, from the first down, into the bits of a stretch.
constexpr void insert_bits(macro_word *buffer, const Stretch &stretch, macro_word packed) {
  put_field(buffer, stretch.position, stretch.length,
            stretch.descending ? reverse(packed) : packed >> (32 - stretch.length));
}

/// The bits of a stretch, packed from the most significant bit down, 0 after the last.
[[nodiscard]] constexpr macro_word extract_bits(const macro_word *buffer, const Stretch &stretch) {
  const macro_word field = get_field(buffer, stretch.position, stretch.length);
  return stretch.descending ? reverse(field) : field << (32 - stretch.length);
}

/// The same for several stretches, one after another.
void insert_bits(macro_word *buffer, std::span<const Stretch> stretches, macro_word packed);
[[nodiscard]] macro_word extract_bits(const macro_word *buffer, std::span<const Stretch> stretches);

/// Whether the bits of a mask lie side by side.
[[nodiscard]] constexpr bool contiguous(macro_word mask) {
  const macro_word top = mask << (std::countl_zero(mask) & 31);
  return (top & (~top >> 1)) == 0;
}

/// Bits of `value` under `mask`, moved together at the most significant end.
[[nodiscard]] macro_word pack(macro_word value, macro_word mask);

/// The reverse: the most significant bits of `packed` spread to the bits of `mask`, all others 0.
[[nodiscard]] macro_word spread(macro_word packed, macro_word mask);

}  // namespace scdb
