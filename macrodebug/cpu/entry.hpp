#pragma once

#include "cpu/memory_port.hpp"

namespace cpu {

/// Selects six entries of the port's table, _PARA[0] and the five after it, and shows how each answers: one word of
/// _DATA each.
template <macro_word PORT>
struct EntryCheck : MemoryPort {
  using Numbers = PortNumbers<PORT>;
  static constexpr macro_word RING = Numbers::RING;
  static constexpr macro_word COMMAND = 0x80000402 + Numbers::COMMANDS;
  static constexpr macro_word LAST_ENTRY = 63;
  static constexpr macro_word SELECTORS = 6;

  static constexpr auto INHIBIT = frame::field(0x1, frame::bit(0x180338D)).at(Numbers::ADDRESSES);

  // The first selector, and what it answers.  The others stand above them.
  static constexpr macro_word SELECTOR_DISTANCE = 6;
  static constexpr auto SELECTOR = frame::field(0x3F, frame::descending<6>(0x1803393)).at(Numbers::ADDRESSES);
  static constexpr macro_word ANSWER_DISTANCE = 16;
  static constexpr auto SELECTED = frame::field(0x80000000, frame::bit(0x18033CF)).at(Numbers::ADDRESSES);
  static constexpr auto NUMBER = frame::field(0x003F0000, frame::descending<6>(0x18033CD)).at(Numbers::ADDRESSES);
  static constexpr auto CONTENTS = frame::field(0x000000FF, frame::descending<8>(0x18033C7)).at(Numbers::ADDRESSES);

  int run() {
    if (_RW != frame::READ || !check_parameters(LAST_ENTRY))
      return frame::DONE;
    if (!open_ring(RING))
      return frame::STOPPED;
    RingImage _SCANWORK0;
    keep(_SCANWORK0);

    start_from(_SCANWORK0);
    insert_untested(INHIBIT, 0);
    for (macro_word i = 0; i < SELECTORS; ++i)
      insert_moved_untested(SELECTOR, i * SELECTOR_DISTANCE, _PARA[0] + i);
    apply_untested(RING, COMMAND);
    for (macro_word i = 0; i < SELECTORS; ++i) {
      _WORK0 = extract_moved_untested(SELECTED, i * ANSWER_DISTANCE);
      _WORK1 = extract_moved_untested(NUMBER, i * ANSWER_DISTANCE);
      _WORK2 = extract_moved_untested(CONTENTS, i * ANSWER_DISTANCE);
      _DATA[i] = _WORK0 + _WORK1 + _WORK2;
    }
    return close(running(), RING);
  }
};

}  // namespace cpu
