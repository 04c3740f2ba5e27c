#pragma once

#include "cpu/memory_port.hpp"

namespace cpu {

/// Runs the port's index through its 32 values, with its two marks clear and set, and shows the two 6-bit fields that
/// the port makes of it: 64 patterns, one word of _DATA each.
struct IndexWalk : MemoryPort {
  static constexpr macro_word COMMAND = 0x80000403;
  static constexpr int32_t INDICES = 32;

  static constexpr auto INDEX = frame::field(0x1F, frame::descending<5>(0x1803F68));
  static constexpr auto MARK_A = frame::field(0x1, frame::bit(0x1803E5F));
  static constexpr auto MARK_B = frame::field(0x1, frame::bit(0x1803E60));
  static constexpr auto OBSERVED_A = frame::field(0x3F0000, frame::descending<6>(0x180446F));
  static constexpr auto OBSERVED_B = frame::field(0x00003F, frame::descending<6>(0x18042D1));

  int run(const Port &port) {
    if (_RW != frame::READ || !check_parameters(0))
      return frame::DONE;
    if (!open_ring(port.ring))
      return frame::STOPPED;
    RingImage _SCANWORK0;
    keep(_SCANWORK0);

    // The end of an index is the check point.
    for (_COUNT0 = 0; _COUNT0 < INDICES && running(); ++_COUNT0)
      for (_FLAG0 = 0; _FLAG0 <= 1; ++_FLAG0) {
        start_from(_SCANWORK0);
        observe(port);
      }
    return close(running(), port.ring);
  }

  void observe(const Port &port) {
    insert_moved_untested(INDEX, port.addresses, static_cast<macro_word>(_COUNT0));
    insert_moved_untested(MARK_A, port.addresses, _FLAG0);
    insert_moved_untested(MARK_B, port.addresses, _FLAG0);
    apply_untested(port.ring, COMMAND + port.commands);
    _WORK0 = extract_moved_untested(OBSERVED_A, port.addresses);
    _WORK1 = extract_moved_untested(OBSERVED_B, port.addresses);
    _DATA[_COUNT1++] = _WORK0 + _WORK1;
  }
};

}  // namespace cpu
