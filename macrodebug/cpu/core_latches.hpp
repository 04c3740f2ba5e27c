#pragma once

#include "cpu/array.hpp"

/// The latches of the chip's two cores take turns in the rings, five by five: core 1's lie five positions below those
/// of core 0, with the exceptions that the arrays name.
namespace cpu {

/// What is added to an address of core 0.
[[nodiscard]] constexpr macro_word core_offset(unsigned core) {
  return core == 0 ? 0 : macro_word{0} - 5;
}

/// `N` latches of one core from the highest position down.
/// @param first the lowest latch of the group.  @param skipped how many of the group's latches lie below the lowest one
/// of these.
template <unsigned N>
[[nodiscard]] consteval frame::Addresses<N> taking_turns(macro_word first, unsigned skipped = 0) {
  frame::Addresses<N> list{};
  for (unsigned i = 0; i < N; ++i) {
    const unsigned latch = skipped + N - 1 - i;
    list.words[i] = first + latch / 5 * 10 + latch % 5;
  }
  return list;
}

/// The same latches with `offset` added to their addresses.
template <unsigned N>
[[nodiscard]] constexpr frame::Addresses<N> moved(frame::Addresses<N> list, macro_word offset) {
  for (macro_word &address : list.words)
    address += offset;
  return list;
}

/// The latches of an entry with its check bits behind: 64 data latches from `first` up, the 8 check latches 140
/// positions above them.
[[nodiscard]] consteval auto behind_latches(macro_word first) {
  return wide(frame::field(0xFFFFFFFF, taking_turns<32>(first, 32)), frame::field(0xFFFFFFFF, taking_turns<32>(first)),
              frame::field(BEHIND_WORD_2, taking_turns<8>(first + 140)));
}

}  // namespace cpu
