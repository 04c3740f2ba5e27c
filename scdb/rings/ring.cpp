#include "scdb/rings/ring.hpp"

#include <bit>

namespace scdb {
namespace {

/// The order of the bits of a word turned round.
constexpr macro_word reverse(macro_word word) {
  word = (word & 0x55555555) << 1 | (word >> 1 & 0x55555555);
  word = (word & 0x33333333) << 2 | (word >> 2 & 0x33333333);
  word = (word & 0x0F0F0F0F) << 4 | (word >> 4 & 0x0F0F0F0F);
  word = (word & 0x00FF00FF) << 8 | (word >> 8 & 0x00FF00FF);
  return word << 16 | word >> 16;
}

constexpr bool contiguous(macro_word mask) {
  const macro_word top = mask << std::countl_zero(mask);
  return (top & (~top >> 1)) == 0;
}

}  // namespace

void insert_bits(macro_word *buffer, std::span<const Stretch> stretches, macro_word packed) {
  for (const Stretch &stretch : stretches) {
    // The first bits handed out, right-aligned, in the order of rising positions.
    const macro_word field = stretch.descending ? reverse(packed) : packed >> (32 - stretch.length);
    put_field(buffer, stretch.position, stretch.length, field);
    packed = stretch.length < 32 ? packed << stretch.length : 0;
  }
}

macro_word extract_bits(const macro_word *buffer, std::span<const Stretch> stretches) {
  macro_word packed = 0;
  unsigned used = 0;
  for (const Stretch &stretch : stretches) {
    const macro_word field = get_field(buffer, stretch.position, stretch.length);
    const macro_word left_aligned = stretch.descending ? reverse(field) : field << (32 - stretch.length);
    packed |= left_aligned >> used;
    used += stretch.length;
  }
  return packed;
}

macro_word pack(macro_word value, macro_word mask) {
  if (mask == 0)
    return 0;
  if (contiguous(mask))
    return (value & mask) << std::countl_zero(mask);
  macro_word packed = 0;
  for (macro_word to = 0x80000000; mask != 0; to >>= 1) {
    const macro_word from = 0x80000000 >> std::countl_zero(mask);
    if ((value & from) != 0)
      packed |= to;
    mask &= ~from;
  }
  return packed;
}

macro_word spread(macro_word packed, macro_word mask) {
  if (mask == 0)
    return 0;
  if (contiguous(mask))
    return packed >> std::countl_zero(mask) & mask;
  macro_word value = 0;
  for (macro_word from = 0x80000000; mask != 0; from >>= 1) {
    const macro_word to = 0x80000000 >> std::countl_zero(mask);
    if ((packed & from) != 0)
      value |= to;
    mask &= ~to;
  }
  return value;
}

}  // namespace scdb
