#pragma once

#include "cpu/memory_port.hpp"

namespace cpu {

/// Runs the port's index through its 32 values, with its two marks clear and set, and shows the two 6-bit fields that
/// the port makes of it: 64 patterns, one word of _DATA each.
template <macro_word PORT>
struct IndexWalk : MemoryPort {
  using Numbers = PortNumbers<PORT>;
  static constexpr macro_word RING = Numbers::RING;
  static constexpr macro_word COMMAND = 0x80000403 + Numbers::COMMANDS;
  static constexpr int32_t INDICES = 32;

  static constexpr auto INDEX = frame::field(0x1F, frame::descending<5>(0x1803F68)).at(Numbers::ADDRESSES);
  static constexpr auto MARK_A = frame::field(0x1, frame::bit(0x1803E5F)).at(Numbers::ADDRESSES);
  static constexpr auto MARK_B = frame::field(0x1, frame::bit(0x1803E60)).at(Numbers::ADDRESSES);
  static constexpr auto OBSERVED_A = frame::field(0x3F0000, frame::descending<6>(0x180446F)).at(Numbers::ADDRESSES);
  static constexpr auto OBSERVED_B = frame::field(0x00003F, frame::descending<6>(0x18042D1)).at(Numbers::ADDRESSES);

  int run() {
    if (_RW != frame::READ || !check_parameters(0))
      return frame::DONE;
    if (!open_ring(RING))
      return frame::STOPPED;
    RingImage _SCANWORK0;
    keep(_SCANWORK0);

    // The end of an index is the check point.
    for (_COUNT0 = 0; _COUNT0 < INDICES && running(); ++_COUNT0)
      for (_FLAG0 = 0; _FLAG0 <= 1; ++_FLAG0) {
        start_from(_SCANWORK0);
        observe();
      }
    return close(running(), RING);
  }

  void observe() {
    insert_untested(INDEX, static_cast<macro_word>(_COUNT0));
    insert_untested(MARK_A, _FLAG0);
    insert_untested(MARK_B, _FLAG0);
    apply_untested(RING, COMMAND);
    _WORK0 = extract_untested(OBSERVED_A);
    _WORK1 = extract_untested(OBSERVED_B);
    _DATA[_COUNT1++] = _WORK0 + _WORK1;
  }
};

}  // namespace cpu
