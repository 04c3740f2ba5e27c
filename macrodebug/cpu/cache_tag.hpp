#pragma once

#include "cpu/core_latches.hpp"

/// The tag arrays of the instruction and the operand cache: entries of 11 data and 6 check bits, in the first of an
/// entry's three words.
namespace cpu {

template <class Member>
struct CacheTag : ArrayMacro<Member> {
  using ArrayMacro<Member>::control, ArrayMacro<Member>::walk, ArrayMacro<Member>::put;

  static constexpr CodeFormat FORMAT = SHORT_FORMAT;
};

/// The operand cache's tags come out of the array one access late: the first access to an address is thrown away, into
/// _DUM.
template <class Member, class Latches>
[[nodiscard]] bool throw_away(Member &macro, const Latches &latches, macro_word &_DUM) {
  return macro.pulse(READ_PULSE) && macro.read_ring(Member::DATA_OUT) && macro.extract(latches, _DUM);
}

/// The tag arrays of either core of the two-core chip: 512 rows of two halves, of which the lowest bit of the entry
/// number tells one.  While they are read or written through the rings, operand register 23 opens them.
///
/// Member further names the fields HALF, LOWER_OUT and UPPER_OUT, and the words
///   _OPSR23    operand register 23 as it was found;
///   _HALFSEL   which half of a row: 0 = lower, 1 = upper.
template <class Member>
struct CoreCacheTag : CacheTag<Member> {
  using ArrayMacro<Member>::first_entry, ArrayMacro<Member>::prepare;

  static constexpr macro_word LIMIT = 1024;
  static constexpr macro_word CODE_MACRO = 0xA2CB;
  static constexpr macro_word READ_OPERAND = 119;
  static constexpr macro_word WRITE_OPERAND = 87;
  static constexpr macro_word ARRAY_ACCESS = 0x80000000;

  static constexpr macro_word DATA_OUT = 146;
  static constexpr macro_word DATA_IN = 151;
  static constexpr macro_word ADDRESS_RING = 152;
  static constexpr macro_word INPUT_RINGS[] = {DATA_IN, ADDRESS_RING};
  static constexpr macro_word OUTPUT_RINGS[] = {DATA_OUT};

  [[nodiscard]] bool begin() {
    Member &own = this->member();
    return this->read(READ_OPERAND, own._OPSR23) && this->write(WRITE_OPERAND, own._OPSR23 | ARRAY_ACCESS);
  }
  [[nodiscard]] bool finish() { return this->write(WRITE_OPERAND, this->member()._OPSR23); }

  [[nodiscard]] bool load_row() {
    const auto number = static_cast<macro_word>(this->_COUNT2);
    Member &own = this->member();
    own._HALFSEL = lmcr_shift(number, 31, 31, 1);
    return this->insert(Member::HALF, own._HALFSEL) && this->insert(Member::ADDRESS, lmcr_shift(number, 22, 23, 9));
  }
  [[nodiscard]] bool take(macro_word *entry) {
    return this->member()._HALFSEL == 0 ? this->take_latches(Member::LOWER_OUT, 0, entry)
                                        : this->take_latches(Member::UPPER_OUT, 0, entry);
  }
};

/// The latches of an entry of a core: 11 data latches from `first` up, the 6 check latches 40 positions above them.
[[nodiscard]] consteval auto short_latches(macro_word first) {
  return frame::field(SHORT_WORD, taking_turns<6>(first + 40), taking_turns<11>(first));
}

template <unsigned CORE>
struct InstructionCacheTag : CoreCacheTag<InstructionCacheTag<CORE>> {
  using ArrayMacro<InstructionCacheTag>::settle;
  macro_word _OPSR23 = 0, _HALFSEL = 0;

  static constexpr macro_word PULSES[] = {unit_pulse(11)};
  static constexpr macro_word OFFSET = core_offset(CORE);

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(frame::ring_bit(152, 1300))).at(OFFSET);
  static constexpr auto HOLD = frame::field(1, frame::bit(frame::ring_bit(152, 1301))).at(OFFSET);
  static constexpr auto HALF = frame::field(1, frame::bit(frame::ring_bit(152, 1302))).at(OFFSET);
  static constexpr auto ADDRESS = frame::field(0x1FF, taking_turns<9>(frame::ring_bit(152, 1310))).at(OFFSET);
  static constexpr auto IN = short_latches(frame::ring_bit(151, 2600)).at(OFFSET);
  static constexpr auto LOWER_OUT = short_latches(frame::ring_bit(146, 3600)).at(OFFSET);
  static constexpr auto UPPER_OUT = short_latches(frame::ring_bit(146, 3700)).at(OFFSET);

  [[nodiscard]] bool load_address() { return this->load_row(); }
};

/// Four banks, chosen by bits 19 and 16 of _PARA[0].
template <unsigned CORE>
struct OperandCacheTag : CoreCacheTag<OperandCacheTag<CORE>> {
  macro_word _OPSR23 = 0, _HALFSEL = 0, _DUM = 0, _ADRS12 = 0, _ADRS15 = 0;

  static constexpr macro_word PULSES[] = {unit_pulse(12)};
  static constexpr macro_word OFFSET = core_offset(CORE);

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(frame::ring_bit(152, 1400))).at(OFFSET);
  static constexpr auto HOLD = frame::field(1, frame::bit(frame::ring_bit(152, 1401))).at(OFFSET);
  static constexpr auto HALF = frame::field(1, frame::bit(frame::ring_bit(152, 1402))).at(OFFSET);
  static constexpr auto BANK_15 = frame::field(1, frame::bit(frame::ring_bit(152, 1403))).at(OFFSET);
  static constexpr auto BANK_12 = frame::field(1, frame::bit(frame::ring_bit(152, 1404))).at(OFFSET);
  static constexpr auto ADDRESS = frame::field(0x1FF, taking_turns<9>(frame::ring_bit(152, 1410))).at(OFFSET);
  static constexpr auto IN = short_latches(frame::ring_bit(151, 2800)).at(OFFSET);
  static constexpr auto LOWER_OUT = short_latches(frame::ring_bit(146, 3800)).at(OFFSET);
  static constexpr auto UPPER_OUT = short_latches(frame::ring_bit(146, 3900)).at(OFFSET);

  [[nodiscard]] bool load_address() {
    _ADRS12 = lmcr_shift(this->_PARA[0], 12, 31, 1);
    _ADRS15 = lmcr_shift(this->_PARA[0], 15, 31, 1);
    return this->load_row() && this->insert(BANK_12, _ADRS12) && this->insert(BANK_15, _ADRS15);
  }
  [[nodiscard]] bool settle() {
    return _HALFSEL == 0 ? throw_away(*this, LOWER_OUT, _DUM) : throw_away(*this, UPPER_OUT, _DUM);
  }
};

}  // namespace cpu
