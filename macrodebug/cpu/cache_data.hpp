#pragma once

#include "cpu/core_latches.hpp"

/// The data arrays of the instruction and the operand cache: 1024 entries of 64 data and 8 check bits, the check bits
/// in front.
///
/// While they are read or written through the rings, operand register 22 opens them; it also tells whether their
/// data-out latches hold inverted data.
namespace cpu {

inline constexpr macro_word OPERAND_22 = 22;
inline constexpr macro_word ARRAY_ACCESS = 0x80000000;
inline constexpr macro_word DATA_OUT_INVERTED = 0x40000000;

/// Member further has get_operand() and put_operand(), and the words
///   _OPSR22   operand register 22 as it was found;
///   _INVFLG   MACRO_ALL where data-out is inverted, else 0.
template <class Member>
struct CacheData : ArrayMacro<Member> {
  using ArrayMacro<Member>::first_entry, ArrayMacro<Member>::control, ArrayMacro<Member>::walk;
  using ArrayMacro<Member>::load_address, ArrayMacro<Member>::settle;

  static constexpr CodeFormat FORMAT = FRONT_FORMAT;
  static constexpr macro_word LIMIT = 1024;

  [[nodiscard]] bool begin() {
    Member &own = this->member();
    if (!own.get_operand(own._OPSR22))
      return false;
    own._INVFLG = (own._OPSR22 & DATA_OUT_INVERTED) != 0 ? MACRO_ALL : 0;
    return own.put_operand(own._OPSR22 | ARRAY_ACCESS);
  }
  [[nodiscard]] bool finish() { return this->member().put_operand(this->member()._OPSR22); }

  [[nodiscard]] bool take_data(macro_word *entry) {
    return this->take_latches(Member::OUT, this->member()._INVFLG, entry);
  }
  [[nodiscard]] bool put_data(const macro_word *entry) { return this->put_latches(Member::IN, entry); }
};

template <class Member>
struct PlainCacheData : CacheData<Member> {
  [[nodiscard]] bool take(macro_word *entry) { return this->take_data(entry); }
  [[nodiscard]] bool put(const macro_word *entry) { return this->put_data(entry); }
};

/// With the operand cache's mark for bad data, _BDFLG: it lies beside the entry, and in bit 31 of its third word.
template <class Member>
struct MarkedCacheData : CacheData<Member> {
  [[nodiscard]] bool take(macro_word *entry) {
    Member &own = this->member();
    if (!(this->take_data(entry) && this->extract(Member::MARK_OUT, own._BDFLG)))
      return false;
    own._BDFLG ^= own._INVFLG & Member::MARK_OUT.mask;
    entry[2] |= own._BDFLG;
    return true;
  }
  [[nodiscard]] bool put(const macro_word *entry) {
    Member &own = this->member();
    own._BDFLG = lmcr_shift(entry[2], 31, 31, 1);
    return this->put_data(entry) && this->insert(Member::MARK_IN, own._BDFLG);
  }
};

/// The first set of arrays.  The firmware reaches the operand register, with the words _MPARA and _MDATA.
template <class Member, template <class> class Kind>
struct FirstCacheData : Kind<Member> {
  static constexpr macro_word CODE_MACRO = 0x9ACA;
  static constexpr macro_word OPERANDS = 0x1A34;

  static constexpr macro_word DATA_OUT = 55;
  static constexpr macro_word GATE_RING = 57;
  static constexpr macro_word DATA_IN = 60;
  static constexpr macro_word ADDRESS_RING = 61;
  static constexpr macro_word INPUT_RINGS[] = {DATA_IN, ADDRESS_RING};
  static constexpr macro_word OUTPUT_RINGS[] = {DATA_OUT, GATE_RING};

  [[nodiscard]] bool get_operand(macro_word &into) {
    Member &own = this->member();
    own._MPARA[0] = OPERAND_22;
    if (!this->call(frame::READ, OPERANDS, own._MPARA, own._MDATA, this->_DUMMY))
      return false;
    into = own._MDATA[0];
    return true;
  }
  [[nodiscard]] bool put_operand(macro_word word) {
    Member &own = this->member();
    own._MPARA[0] = OPERAND_22;
    own._MDATA[0] = word;
    return this->call(frame::WRITE, OPERANDS, own._MPARA, own._MDATA, this->_DUMMY);
  }

  [[nodiscard]] bool prepare() { return this->open_gates(GATE_RING, Member::GATE_SELECT, Member::GATES); }
};

/// The arrays of either core of the two-core chip.
template <class Member, template <class> class Kind>
struct CoreCacheData : Kind<Member> {
  using ArrayMacro<Member>::prepare;

  static constexpr macro_word CODE_MACRO = 0xA2CA;
  static constexpr macro_word READ_OPERAND = 118;
  static constexpr macro_word WRITE_OPERAND = 86;

  static constexpr macro_word DATA_OUT = 146;
  static constexpr macro_word DATA_IN = 151;
  static constexpr macro_word ADDRESS_RING = 152;
  static constexpr macro_word INPUT_RINGS[] = {DATA_IN, ADDRESS_RING};
  static constexpr macro_word OUTPUT_RINGS[] = {DATA_OUT};

  [[nodiscard]] bool get_operand(macro_word &into) { return this->read(READ_OPERAND, into); }
  [[nodiscard]] bool put_operand(macro_word word) { return this->write(WRITE_OPERAND, word); }
};

/// The latches of an entry of a core: 64 data latches from `first` up, the 8 check latches 140 positions above them.
[[nodiscard]] consteval auto front_latches(macro_word first) {
  return wide(frame::field(FRONT_WORD_0, taking_turns<8>(first + 140), taking_turns<16>(first, 48)),
              frame::field(0xFFFFFFFF, taking_turns<32>(first, 16)),
              frame::field(FRONT_WORD_2, taking_turns<16>(first)));
}

template <unsigned CORE>
struct InstructionCacheData : CoreCacheData<InstructionCacheData<CORE>, PlainCacheData> {
  macro_word _OPSR22 = 0, _INVFLG = 0;

  static constexpr macro_word PULSES[] = {unit_pulse(9)};
  static constexpr macro_word OFFSET = core_offset(CORE);

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(frame::ring_bit(152, 1100))).at(OFFSET);
  static constexpr auto HOLD = frame::field(1, frame::bit(frame::ring_bit(152, 1101))).at(OFFSET);
  static constexpr auto ADDRESS = frame::field(0x3FF, taking_turns<10>(frame::ring_bit(152, 1110))).at(OFFSET);
  static constexpr auto IN = front_latches(frame::ring_bit(151, 2200)).at(OFFSET);
  static constexpr auto OUT = front_latches(frame::ring_bit(146, 3200)).at(OFFSET);
};

template <unsigned CORE>
struct OperandCacheData : CoreCacheData<OperandCacheData<CORE>, MarkedCacheData> {
  macro_word _OPSR22 = 0, _INVFLG = 0, _BDFLG = 0;

  static constexpr macro_word PULSES[] = {unit_pulse(10)};
  static constexpr macro_word OFFSET = core_offset(CORE);

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(frame::ring_bit(152, 1200))).at(OFFSET);
  static constexpr auto HOLD = frame::field(1, frame::bit(frame::ring_bit(152, 1201))).at(OFFSET);
  static constexpr auto ADDRESS = frame::field(0x3FF, taking_turns<10>(frame::ring_bit(152, 1210))).at(OFFSET);
  static constexpr auto IN = front_latches(frame::ring_bit(151, 2400)).at(OFFSET);
  static constexpr auto OUT = front_latches(frame::ring_bit(146, 3400)).at(OFFSET);
  static constexpr auto MARK_IN = frame::field(1, frame::bit(frame::ring_bit(151, 2560))).at(OFFSET);
  static constexpr auto MARK_OUT = frame::field(1, frame::bit(frame::ring_bit(146, 3560))).at(OFFSET);
};

}  // namespace cpu
