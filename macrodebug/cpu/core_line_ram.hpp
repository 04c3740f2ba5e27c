#pragma once

#include "cpu/core_latches.hpp"
#include "cpu/line_array.hpp"

namespace cpu {

/// The line RAM of either core of the two-core chip: lines 0 to 15 lie in its lower bank, lines 16 to 31 in its upper
/// one.  A pulse reads both banks; each has data-out latches and a write enable of its own.
///
/// The RAM has a sequencer, which a dump or restore runs through its states.  What it was doing is taken from the
/// data-out ring beforehand, and loaded again at the end.
template <unsigned CORE>
struct CoreLineRam : LineArray<CoreLineRam<CORE>> {
  static constexpr unsigned STATES = 9;
  macro_word _WORKING[1 + STATES] = {};  ///< the address of the sequencer as it was found, and its state latches

  static constexpr macro_word CODE_MACRO = 0xA2CC;
  static constexpr macro_word DATA_OUT = 144;
  static constexpr macro_word DATA_IN = 151;
  static constexpr macro_word ADDRESS_RING = 152;
  static constexpr macro_word INPUT_RINGS[] = {DATA_IN, ADDRESS_RING};
  static constexpr macro_word OUTPUT_RINGS[] = {DATA_OUT};
  /// The first pulse latches the address, the second one accesses the RAM there.
  static constexpr macro_word PULSES[] = {0x17F, unit_pulse(0)};

  // Core 1's latches are not all five below core 0's.
  static constexpr macro_word OFFSET = core_offset(CORE);
  static constexpr macro_word CONTROL_OFFSET = CORE == 0 ? 0 : macro_word{0} - 4;
  static constexpr macro_word UPPER_OFFSET = CORE == 0 ? 0 : macro_word{0} - 1032;
  static constexpr macro_word LOAD_OFFSET = CORE == 0 ? 0 : 5;

  static constexpr auto LOWER_WRITE_ENABLE =
      frame::field(1, frame::bit(frame::ring_bit(ADDRESS_RING, 1000))).at(CONTROL_OFFSET);
  static constexpr auto HOLD = frame::field(1, frame::bit(frame::ring_bit(ADDRESS_RING, 1001))).at(CONTROL_OFFSET);
  static constexpr auto UPPER_WRITE_ENABLE =
      frame::field(1, frame::bit(frame::ring_bit(ADDRESS_RING, 1002))).at(CONTROL_OFFSET);
  static constexpr auto ADDRESS = frame::field(0x1FF, taking_turns<9>(frame::ring_bit(ADDRESS_RING, 1010))).at(OFFSET);

  static constexpr auto IN = behind_latches(frame::ring_bit(DATA_IN, 2000)).at(OFFSET);
  static constexpr auto LOWER_OUT = behind_latches(frame::ring_bit(DATA_OUT, 5000)).at(OFFSET);
  static constexpr auto UPPER_OUT = behind_latches(frame::ring_bit(DATA_OUT, 5400)).at(UPPER_OFFSET);

  static constexpr auto GATE_SELECT = frame::field(7, frame::descending<3>(frame::ring_bit(DATA_OUT, 7302))).at(OFFSET);
  static constexpr auto GATES = moved(taking_turns<11>(frame::ring_bit(DATA_OUT, 7310)), OFFSET);

  static constexpr auto SEQUENCER_ADDRESS =
      frame::field(0x1FF, taking_turns<9>(frame::ring_bit(DATA_OUT, 7000))).at(OFFSET);
  static constexpr auto STATE = moved(taking_turns<STATES>(frame::ring_bit(DATA_OUT, 7100)), OFFSET);
  static constexpr auto STATE_IN = moved(taking_turns<STATES>(frame::ring_bit(DATA_OUT, 7200)), OFFSET);
  static constexpr auto LOAD = frame::field(1, frame::bit(frame::ring_bit(DATA_OUT, 7400))).at(LOAD_OFFSET);
  static constexpr auto SEQUENCE = frame::field(1, frame::bit(frame::ring_bit(DATA_OUT, 7401))).at(LOAD_OFFSET);

  [[nodiscard]] bool upper_bank() const { return this->_COUNT2 > 15; }

  [[nodiscard]] bool prepare() {
    if (!(this->read_ring(DATA_OUT) && this->extract(SEQUENCER_ADDRESS, _WORKING[0])))
      return false;
    for (unsigned i = 0; i < STATES; ++i)
      if (!this->extract(frame::Field<1>{1, {STATE.words[i]}}, _WORKING[1 + i]))
        return false;
    return this->clear_gates(GATE_SELECT, GATES.words) && this->write_ring(DATA_OUT);
  }

  [[nodiscard]] bool control(macro_word write_enable) const {
    return this->insert(HOLD, 0)
           && (upper_bank() ? this->insert(UPPER_WRITE_ENABLE, write_enable)
                            : this->insert(LOWER_WRITE_ENABLE, write_enable));
  }

  [[nodiscard]] bool load_address() const {
    const macro_word line = lmcr_shift(static_cast<macro_word>(this->_COUNT2), 28, 23, 4);
    return this->insert(ADDRESS, line | this->word_number());
  }

  [[nodiscard]] bool take(macro_word *entry) const {
    return upper_bank() ? this->take_latches(UPPER_OUT, MACRO_ALL, entry)
                        : this->take_latches(LOWER_OUT, MACRO_ALL, entry);
  }

  /// Loads the sequencer again.
  [[nodiscard]] bool finish() const {
    if (!(this->insert(ADDRESS, _WORKING[0]) && this->write_ring(ADDRESS_RING) && this->read_ring(DATA_OUT)
          && this->insert(LOAD, 1) && this->insert(SEQUENCE, 0)))
      return false;
    for (unsigned i = 0; i < STATES; ++i)
      if (!this->insert(frame::Field<1>{1, {STATE_IN.words[i]}}, _WORKING[1 + i]))
        return false;
    return this->write_ring(DATA_OUT) && this->write(ARRAY_PULSE, READ_PULSE | unit_pulse(0));
  }
};

}  // namespace cpu
