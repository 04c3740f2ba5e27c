#include "scdb/rings/ring.hpp"

namespace scdb {

void insert_bits(macro_word *buffer, std::span<const Stretch> stretches, macro_word packed) {
  for (const Stretch &stretch : stretches) {
    insert_bits(buffer, stretch, packed);
    packed = stretch.length < 32 ? packed << stretch.length : 0;
  }
}

macro_word extract_bits(const macro_word *buffer, std::span<const Stretch> stretches) {
  macro_word packed = 0;
  unsigned used = 0;
  for (const Stretch &stretch : stretches) {
    packed |= extract_bits(buffer, stretch) >> used;
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
