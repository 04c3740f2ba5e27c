#pragma once

#include "cpu/clock_registers.hpp"
#include "cpu/memory_port.hpp"

namespace cpu {

/// A memory link, and the ring that holds its driver.
struct Link {
  macro_word number;
  macro_word ring;
};

/// Sends a one over each of a memory link's eight lanes in turn and shows what arrives: one word of _DATA each.
///
/// Every pattern takes a reset and a restart of the chip.
template <Link LINK>
struct LinkTraining : MemoryPort {
  static constexpr macro_word TRAINING_RING = 92;

  // JTAG instructions.
  static constexpr macro_word READ_CLOCK_CONTROL_3 = 0xE3;
  static constexpr macro_word SAMPLE = 0xF3;

  /// Bit of clock control 3: the link trains.
  static constexpr macro_word TRAINS = 0x80000000 >> LINK.number;
  /// Microseconds that a link takes for a reset, and to start.
  static constexpr macro_word SETTLING = 1000;
  static constexpr macro_word ALL_LANES = 0xFF;
  static constexpr macro_word FIRST_LANE = 0x01;
  static constexpr macro_word LAST_LANE = 0x80;

  // Link 0's fields.  The training ring has a section for each link.
  static constexpr macro_word DRIVER = address_distance(LINK.ring - 58);
  static constexpr macro_word SECTION = LINK.number * 0x100;
  static constexpr auto DRIVEN = frame::field(0xFF, frame::descending<8>(0x1D01407)).at(DRIVER);
  static constexpr auto ENABLED = frame::field(0xFF, frame::descending<8>(0x2E00017)).at(SECTION);
  /// Locked, and the lanes that receive a one.
  static constexpr auto RECEIVED =
      frame::field(0x800000FF, frame::bit(0x2E00028), frame::descending<8>(0x2E00027)).at(SECTION);

  int run() {
    if (_RW != frame::READ)
      return frame::DONE;
    if (!(open_ring(LINK.ring) && open_ring(TRAINING_RING)))
      return frame::STOPPED;
    return close(train(), LINK.ring, TRAINING_RING);
  }

  [[nodiscard]] bool train() {
    // The training ring is still in the buffer.
    if (!(insert(ENABLED, ALL_LANES) && write_ring(TRAINING_RING) && read(READ_CLOCK_CONTROL_3, _WORK0)
          && write(CLOCK_CONTROL_3, _WORK0 | TRAINS) && read_ring(LINK.ring)))
      return false;
    RingImage _SCANWORK0;
    keep(_SCANWORK0);
    for (_WORK1 = FIRST_LANE; _WORK1 <= LAST_LANE; _WORK1 <<= 1) {
      start_from(_SCANWORK0);
      if (!(insert(DRIVEN, _WORK1) && write_ring(LINK.ring) && pulse(RESET_PULSE) && pulse(RESTART_PULSE)
            && instruct(SAMPLE) && read_ring(TRAINING_RING) && extract(RECEIVED, _DATA[_COUNT0])))
        return false;
      ++_COUNT0;
    }
    return write(CLOCK_CONTROL_3, _WORK0);
  }

  [[nodiscard]] bool pulse(macro_word code) const {
    if (!instruct(code))
      return false;
    lmcr_wait(SETTLING);
    return true;
  }
};

}  // namespace cpu
