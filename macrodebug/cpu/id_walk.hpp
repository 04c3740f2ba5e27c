#pragma once

#include "cpu/memory_port.hpp"

namespace cpu {

/// Walks a one through the port's identifier, once for each of four selections, and shows the two 36-bit words that the
/// port makes of it: 32 patterns, four words of _DATA each.
struct IdWalk : MemoryPort {
  static constexpr macro_word COMMAND = 0x80000401;
  static constexpr int32_t PASSES = 2;
  static constexpr int32_t SELECTIONS = 4;

  static constexpr auto SELECTION = frame::field(0x3, frame::run(0x1803AB4, 2));
  static constexpr auto IDENTIFIER = frame::field(0xFF, frame::run(0x180482D, 8));

  // The first observed word.  A word has four lanes of nine bits: eight, and below them the ninth, which go to words of
  // their own.
  static constexpr macro_word WORDS = 2;
  static constexpr macro_word WORD_DISTANCE = 36;
  static constexpr auto LANES =
      frame::field(0xFFFFFFFF, frame::descending<8>(0x1803ABE), frame::descending<8>(0x1803AC7),
                   frame::descending<8>(0x1803AD0), frame::descending<8>(0x1803AD9));
  static constexpr auto NINTHS =
      frame::field(0xF, frame::bit(0x1803AB6), frame::bit(0x1803ABF), frame::bit(0x1803AC8), frame::bit(0x1803AD1));

  macro_word _CURRID = 0;  ///< the identifier
  macro_word _CIDINI = 0;  ///< the first one of a pass
  macro_word _CIDMIN = 0;  ///< the last one of a pass

  int run(const Port &port) {
    if (_RW != frame::READ || !check_parameters(0))
      return frame::DONE;
    if (!open_ring(port.ring))
      return frame::STOPPED;
    RingImage _SCANWORK0;
    keep(_SCANWORK0);

    // The upper half of the identifier, then the lower.  The end of a pass is the check point.
    for (_COUNT0 = 0; _COUNT0 < PASSES && running(); ++_COUNT0) {
      _CIDINI = _COUNT0 == 0 ? 0x80 : 0x08;
      _CIDMIN = _COUNT0 == 0 ? 0x10 : 0x01;
      for (_COUNT1 = 0; _COUNT1 < SELECTIONS; ++_COUNT1)
        for (_CURRID = _CIDINI; _CURRID >= _CIDMIN; _CURRID >>= 1) {
          start_from(_SCANWORK0);
          observe(port);
        }
    }
    return close(running(), port.ring);
  }

  void observe(const Port &port) {
    insert_moved_untested(SELECTION, port.addresses, static_cast<macro_word>(_COUNT1));
    insert_moved_untested(IDENTIFIER, port.addresses, _CURRID);
    apply_untested(port.ring, COMMAND + port.commands);
    for (macro_word word = 0; word < WORDS; ++word) {
      const macro_word place = port.addresses + word * WORD_DISTANCE;
      _DATA[_COUNT2++] = extract_moved_untested(LANES, place);
      _DATA[_COUNT2++] = extract_moved_untested(NINTHS, place);
    }
  }
};

}  // namespace cpu
