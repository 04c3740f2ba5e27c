#include "machines/simulated/fault.hpp"

#include "machines/simulated/chip_state.hpp"

namespace simulated {

macro_word ChipFault::distorted(std::size_t word, macro_word value) const {
  for (const WordBits &row : bits) {
    if (row.word != word)
      continue;
    switch (kind) {
      case FaultKind::stuck_0:
        value &= ~row.mask;
        break;
      case FaultKind::stuck_1:
        value |= row.mask;
        break;
      case FaultKind::flip:
        value ^= row.mask;
        break;
      default:
        break;
    }
  }
  return value;
}

bool ChipFault::hits(std::uint64_t access) const {
  if (access < after || access - after >= times)
    return false;
  const macro_word draw = mix(mix(seed, static_cast<macro_word>(access)), static_cast<macro_word>(access >> 32));
  return draw < chances;
}

}  // namespace simulated
