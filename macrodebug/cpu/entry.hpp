#pragma once

#include "cpu/memory_port.hpp"

namespace cpu {

/// Selects six entries of the port's table, _PARA[0] and the five after it, and shows how each answers: one word of
/// _DATA each.
struct EntryCheck : MemoryPort {
  static constexpr macro_word COMMAND = 0x80000402;
  static constexpr macro_word LAST_ENTRY = 63;
  static constexpr macro_word SELECTORS = 6;

  static constexpr auto INHIBIT = frame::field(0x1, frame::bit(0x180338D));

  // The first selector, and what it answers.  The others stand above them.
  static constexpr macro_word SELECTOR_DISTANCE = 6;
  static constexpr auto SELECTOR = frame::field(0x3F, frame::descending<6>(0x1803393));
  static constexpr macro_word ANSWER_DISTANCE = 16;
  static constexpr auto SELECTED = frame::field(0x80000000, frame::bit(0x18033CF));
  static constexpr auto NUMBER = frame::field(0x003F0000, frame::descending<6>(0x18033CD));
  static constexpr auto CONTENTS = frame::field(0x000000FF, frame::descending<8>(0x18033C7));

  int run(const Port &port) {
    if (_RW != frame::READ || !check_parameters(LAST_ENTRY))
      return frame::DONE;
    if (!open_ring(port.ring))
      return frame::STOPPED;
    RingImage _SCANWORK0;
    keep(_SCANWORK0);

    start_from(_SCANWORK0);
    insert_moved_untested(INHIBIT, port.addresses, 0);
    for (macro_word i = 0; i < SELECTORS; ++i)
      insert_moved_untested(SELECTOR, port.addresses + i * SELECTOR_DISTANCE, _PARA[0] + i);
    apply_untested(port.ring, COMMAND + port.commands);
    for (macro_word i = 0; i < SELECTORS; ++i) {
      const macro_word answer = port.addresses + i * ANSWER_DISTANCE;
      _WORK0 = extract_moved_untested(SELECTED, answer);
      _WORK1 = extract_moved_untested(NUMBER, answer);
      _WORK2 = extract_moved_untested(CONTENTS, answer);
      _DATA[i] = _WORK0 + _WORK1 + _WORK2;
    }
    return close(running(), port.ring);
  }
};

}  // namespace cpu
