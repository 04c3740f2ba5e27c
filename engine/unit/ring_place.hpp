#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "libscfjtag.h"

namespace engine {

/// Up to 32 ring bits that together are a number.
struct RingPlace {
  std::string name;                   ///< as it was given
  std::vector<macro_word> addresses;  ///< ring bit addresses, the most significant bit first
  unsigned length = 0;                ///< bits
  unsigned last = 0;                  ///< the highest position
};

/// The bits of a number of this length, right-aligned.
[[nodiscard]] constexpr macro_word ones(unsigned length) {
  return MACRO_ALL >> (32 - length);
}

/// Reads ring bits as people type them: "197" is one bit, "2698+8" eight from there on, "231-200" those from the one to
/// the other, the first being the most significant; a number above 0x7FFFF is a ring bit address.
/// @param ring  the ring that is meant.
/// @throw InputError for anything else, more than 32 bits, or an address of another ring.
[[nodiscard]] RingPlace parse_ring_place(std::string_view text, macro_word ring);

}  // namespace engine
