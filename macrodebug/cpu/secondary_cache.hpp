#pragma once

#include "cpu/core_latches.hpp"

/// The arrays of either core of the two-core chip that have data-in and data-out latches in one ring: the translation
/// RAM, and data and tags of the secondary cache.  Entries have 64 data and 8 check bits, the check bits behind.
namespace cpu {

template <class Member>
struct OneRingArray : ArrayMacro<Member> {
  using ArrayMacro<Member>::begin, ArrayMacro<Member>::finish, ArrayMacro<Member>::control;
  using ArrayMacro<Member>::walk, ArrayMacro<Member>::settle;

  static constexpr CodeFormat FORMAT = BEHIND_FORMAT;
  static constexpr macro_word CODE_MACRO = 0xA2CC;
  static constexpr macro_word DATA_IN = 151;
  static constexpr macro_word DATA_OUT = 151;
  static constexpr macro_word ADDRESS_RING = 152;
  static constexpr macro_word INPUT_RINGS[] = {ADDRESS_RING};
  static constexpr macro_word OUTPUT_RINGS[] = {DATA_IN};
};

/// The translation RAM, 2048 entries.  It answers pulses only while its key latches hold the key, with odd parity.
/// Each half of an entry has four of the check bits beside it.
template <unsigned CORE>
struct TranslationRam : OneRingArray<TranslationRam<CORE>> {
  using ArrayMacro<TranslationRam>::load_address;

  static constexpr macro_word LIMIT = 2048;
  static constexpr macro_word PULSES[] = {unit_pulse(14)};
  static constexpr macro_word OFFSET = core_offset(CORE);

  static constexpr macro_word _MAGIC = 0x5A96;
  macro_word _MAGICP = 0;           ///< the key's parity bit
  macro_word _HECC = 0, _LECC = 0;  ///< check bits beside the high and the low data word

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(frame::ring_bit(152, 1600))).at(OFFSET);
  static constexpr auto HOLD = frame::field(1, frame::bit(frame::ring_bit(152, 1601))).at(OFFSET);
  static constexpr auto ADDRESS = frame::field(0x7FF, taking_turns<11>(frame::ring_bit(152, 1610))).at(OFFSET);
  static constexpr auto KEY = frame::field(0xFFFF, taking_turns<16>(frame::ring_bit(152, 1640))).at(OFFSET);
  static constexpr auto KEY_PARITY = frame::field(1, frame::bit(frame::ring_bit(152, 1680))).at(OFFSET);

  static constexpr auto HIGH_IN = frame::field(0xFFFFFFFF, taking_turns<32>(frame::ring_bit(151, 3290))).at(OFFSET);
  static constexpr auto HECC_IN = frame::field(0xF0000000, taking_turns<4>(frame::ring_bit(151, 3360))).at(OFFSET);
  static constexpr auto LOW_IN = frame::field(0xFFFFFFFF, taking_turns<32>(frame::ring_bit(151, 3200))).at(OFFSET);
  static constexpr auto LECC_IN = frame::field(0x0F000000, taking_turns<4>(frame::ring_bit(151, 3270))).at(OFFSET);
  static constexpr auto HIGH_OUT = frame::field(0xFFFFFFFF, taking_turns<32>(frame::ring_bit(151, 7290))).at(OFFSET);
  static constexpr auto HECC_OUT = frame::field(0xF0000000, taking_turns<4>(frame::ring_bit(151, 7360))).at(OFFSET);
  static constexpr auto LOW_OUT = frame::field(0xFFFFFFFF, taking_turns<32>(frame::ring_bit(151, 7200))).at(OFFSET);
  static constexpr auto LECC_OUT = frame::field(0x0F000000, taking_turns<4>(frame::ring_bit(151, 7270))).at(OFFSET);

  [[nodiscard]] macro_word first_entry() const { return lmcr_shift(this->_PARA[0], 13, 21, 11); }

  [[nodiscard]] bool prepare() {
    if (!this->read_ring(152))
      return false;
    lmcr_pgen(_MAGIC, &_MAGICP, 1, &_RETURN);
    return this->running() && this->insert(KEY, _MAGIC) && this->insert(KEY_PARITY, _MAGICP) && this->write_ring(152);
  }

  [[nodiscard]] bool take(macro_word *entry) {
    if (!(this->extract(HIGH_OUT, entry[0]) && this->extract(LOW_OUT, entry[1]) && this->extract(HECC_OUT, _HECC)
          && this->extract(LECC_OUT, _LECC)))
      return false;
    entry[2] = _HECC | _LECC;
    return true;
  }
  [[nodiscard]] bool put(const macro_word *entry) {
    _HECC = entry[2] & HECC_IN.mask;
    _LECC = entry[2] & LECC_IN.mask;
    return this->insert(HIGH_IN, entry[0]) && this->insert(LOW_IN, entry[1]) && this->insert(HECC_IN, _HECC)
           && this->insert(LECC_IN, _LECC);
  }
};

/// An array of the secondary cache: 512 rows of several entries, of which the lowest bits of the entry number, _DSEL,
/// tell one.
template <class Member>
struct SecondaryCache : OneRingArray<Member> {
  using ArrayMacro<Member>::prepare, ArrayMacro<Member>::take, ArrayMacro<Member>::put;

  [[nodiscard]] bool load_address() {
    constexpr macro_word SELECT_BITS = Member::SELECT_BITS;
    const auto number = static_cast<macro_word>(this->_COUNT2);
    Member &own = this->member();
    own._DSEL = lmcr_shift(number, 32 - SELECT_BITS, 32 - SELECT_BITS, SELECT_BITS);
    return this->insert(Member::SELECT, own._DSEL)
           && this->insert(Member::ADDRESS, lmcr_shift(number, 23 - SELECT_BITS, 23, 9));
  }
};

/// Data: four entries in a row.
template <unsigned CORE>
struct SecondaryCacheData : SecondaryCache<SecondaryCacheData<CORE>> {
  macro_word _DSEL = 0;

  static constexpr macro_word LIMIT = 2048;
  static constexpr macro_word SELECT_BITS = 2;
  static constexpr macro_word PULSES[] = {unit_pulse(15)};
  static constexpr macro_word OFFSET = core_offset(CORE);

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(frame::ring_bit(152, 1700))).at(OFFSET);
  static constexpr auto HOLD = frame::field(1, frame::bit(frame::ring_bit(152, 1701))).at(OFFSET);
  static constexpr auto SELECT = frame::field(3, frame::descending<2>(frame::ring_bit(152, 1704))).at(OFFSET);
  static constexpr auto ADDRESS = frame::field(0x1FF, taking_turns<9>(frame::ring_bit(152, 1710))).at(OFFSET);
  static constexpr auto IN = behind_latches(frame::ring_bit(151, 3400)).at(OFFSET);
  static constexpr auto OUT = behind_latches(frame::ring_bit(151, 7400)).at(OFFSET);

  [[nodiscard]] macro_word first_entry() const { return lmcr_shift(this->_PARA[0], 13, 21, 11); }
};

/// Tags: two entries in a row.
template <unsigned CORE>
struct SecondaryCacheTag : SecondaryCache<SecondaryCacheTag<CORE>> {
  using ArrayMacro<SecondaryCacheTag>::first_entry;
  macro_word _DSEL = 0;

  static constexpr macro_word LIMIT = 1024;
  static constexpr macro_word SELECT_BITS = 1;
  static constexpr macro_word PULSES[] = {unit_pulse(16)};
  static constexpr macro_word OFFSET = core_offset(CORE);

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(frame::ring_bit(152, 1800))).at(OFFSET);
  static constexpr auto HOLD = frame::field(1, frame::bit(frame::ring_bit(152, 1801))).at(OFFSET);
  static constexpr auto SELECT = frame::field(1, frame::bit(frame::ring_bit(152, 1803))).at(OFFSET);
  static constexpr auto ADDRESS = frame::field(0x1FF, taking_turns<9>(frame::ring_bit(152, 1810))).at(OFFSET);
  static constexpr auto IN = behind_latches(frame::ring_bit(151, 3600)).at(OFFSET);
  static constexpr auto OUT = behind_latches(frame::ring_bit(151, 7600)).at(OFFSET);
};

}  // namespace cpu
