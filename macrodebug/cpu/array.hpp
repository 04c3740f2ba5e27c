#pragma once

#include "cpu/ecc.hpp"
#include "frame/scan.hpp"

/// The CPU's memory arrays behind the scan rings: dump into _DATA, restore from it, three words an entry.
///
/// An entry's address goes into a field of the address ring, a JTAG pulse lets the array act, and the entry appears in
/// latches of the data-out ring or is taken from latches of the data-in ring.  docs/cpu-arrays.md lists the latches.
namespace cpu {

/// The JTAG instruction whose data word pulses the arrays.
inline constexpr macro_word ARRAY_PULSE = 0x8F;
/// In that word: the array reads; without it, it writes where its write enable is on.
inline constexpr macro_word READ_PULSE = 0x10000000;
/// The rest of the word that pulses an array unit.
[[nodiscard]] constexpr macro_word unit_pulse(macro_word unit) {
  return unit << 12 | 0x1FF;
}

/// The data latches of an entry of 64 and 8 bits, a field for each of its words.
template <unsigned A, unsigned B, unsigned C>
struct WideLatches {
  frame::Field<A> word0;
  frame::Field<B> word1;
  frame::Field<C> word2;

  [[nodiscard]] constexpr WideLatches at(macro_word offset) const {
    return {word0.at(offset), word1.at(offset), word2.at(offset)};
  }
};
template <unsigned A, unsigned B, unsigned C>
[[nodiscard]] consteval WideLatches<A, B, C> wide(const frame::Field<A> &word0, const frame::Field<B> &word1,
                                                  const frame::Field<C> &word2) {
  return {word0, word1, word2};
}

// Bits of an entry's words.
inline constexpr macro_word FRONT_WORD_0 = 0xFF00FFFF;   ///< check bits, data bits 0-15
inline constexpr macro_word FRONT_WORD_2 = 0xFFFF0000;   ///< data bits 48-63
inline constexpr macro_word SHORT_WORD = 0xFC00FFE0;     ///< check bits, data bits
inline constexpr macro_word BEHIND_WORD_2 = 0xFF000000;  ///< check bits

/// A macro that dumps (_RW = 1) or restores (_RW = 2) _PARA[1] entries; any other _RW only opens and closes the rings.
///
/// Member is the macro's record, a struct derived from this, with its own version of those steps that differ.  It names
/// - FORMAT and CODE_MACRO: where the entry's check bits stand, and the test number of the macro that computes them;
/// - LIMIT: the greatest count;
/// - INPUT_RINGS and OUTPUT_RINGS: all rings, in the order of opening; the output rings are closed first;
/// - DATA_IN, ADDRESS_RING, DATA_OUT: the rings of the data-in, the address and control, and the data-out latches;
/// - PULSES: data words that pulse the array;
/// - HOLD and WRITE_ENABLE: control latches;
/// - ADDRESS, IN, OUT: the latches of address and data, where the member has no steps of its own for them.
template <class Member>
struct ArrayMacro : frame::ScanFrame {
  int run() {
    _COUNT1 = static_cast<int32_t>(_PARA[1]);
    _COUNT2 = static_cast<int32_t>(member().first_entry());
    if (_PARA[1] - 1 > Member::LIMIT - 1) {
      refuse(SUB_COUNT, _PARA[1]);
      return frame::STOPPED;
    }
    if (!(open_rings() && member().prepare() && read_ring(Member::ADDRESS_RING)))
      return frame::STOPPED;
    if (_RW == frame::READ && !(member().begin() && dump() && member().finish()))
      return frame::STOPPED;
    if (_RW == frame::WRITE && !(member().begin() && restore() && member().finish()))
      return frame::STOPPED;
    return ended(close_rings());
  }

  // Steps.

  /// The number of the first entry or line: of 1024 entries, by default.
  [[nodiscard]] macro_word first_entry() const { return lmcr_shift(_PARA[0], 16, 22, 10); }
  /// Readies rings for the work, whatever _RW is.
  [[nodiscard]] bool prepare() { return true; }
  /// Before the first entry and after the last one.
  [[nodiscard]] bool begin() { return true; }
  [[nodiscard]] bool finish() { return true; }
  /// Sets the array's control latches.
  [[nodiscard]] bool control(macro_word write_enable) const {
    return insert(Member::HOLD, 0) && insert(Member::WRITE_ENABLE, write_enable);
  }
  /// Does a step for each entry; _COUNT2 is the entry's number and _COUNT1 counts those still to do.
  template <class Step>
  [[nodiscard]] bool walk(Step step) {
    for (; _COUNT1 > 0; --_COUNT1) {
      if (!step())
        return false;
      ++_COUNT2;
    }
    return true;
  }
  /// Sets the address latches.
  [[nodiscard]] bool load_address() { return insert(Member::ADDRESS, static_cast<macro_word>(_COUNT2)); }
  /// Readies the addressed entry for reading.
  [[nodiscard]] bool settle() { return true; }
  /// Takes an entry out of the data-out latches.
  [[nodiscard]] bool take(macro_word *entry) { return take_latches(Member::OUT, 0, entry); }
  /// Puts an entry into the data-in latches.
  [[nodiscard]] bool put(const macro_word *entry) { return put_latches(Member::IN, entry); }

  // What steps are made of.

  [[nodiscard]] Member &member() { return static_cast<Member &>(*this); }

  /// Does a step for each of some words, as long as the run goes on.
  template <unsigned N, class Step>
  [[nodiscard]] static bool each(const macro_word (&words)[N], Step step) {
    bool goes_on = true;
    for (unsigned i = 0; goes_on && i < N; ++i)
      goes_on = step(words[i]);
    return goes_on;
  }

  /// @param flip MACRO_ALL where the latches hold the entry inverted, else 0.
  template <unsigned A, unsigned B, unsigned C>
  [[nodiscard]] bool take_latches(const WideLatches<A, B, C> &from, macro_word flip, macro_word *entry) const {
    if (!(extract(from.word0, entry[0]) && extract(from.word1, entry[1]) && extract(from.word2, entry[2])))
      return false;
    entry[0] ^= flip & from.word0.mask;
    entry[1] ^= flip & from.word1.mask;
    entry[2] ^= flip & from.word2.mask;
    return true;
  }
  /// An entry of one word: the other two are 0.
  template <unsigned N>
  [[nodiscard]] bool take_latches(const frame::Field<N> &from, macro_word flip, macro_word *entry) const {
    if (!extract(from, entry[0]))
      return false;
    entry[0] ^= flip & from.mask;
    entry[1] = 0;
    entry[2] = 0;
    return true;
  }

  template <unsigned A, unsigned B, unsigned C>
  [[nodiscard]] bool put_latches(const WideLatches<A, B, C> &into, const macro_word *entry) const {
    return insert(into.word0, entry[0]) && insert(into.word1, entry[1]) && insert(into.word2, entry[2]);
  }
  template <unsigned N>
  [[nodiscard]] bool put_latches(const frame::Field<N> &into, const macro_word *entry) const {
    return insert(into, entry[0]);
  }

  /// Opens the gates between an array and its data-out latches: clears a select field and single bits.
  template <unsigned N>
  [[nodiscard]] bool open_gates(macro_word ring, const frame::Field<3> &select, const macro_word (&gates)[N]) const {
    return read_ring(ring) && clear_gates(select, gates) && write_ring(ring);
  }
  template <unsigned N>
  [[nodiscard]] bool clear_gates(const frame::Field<3> &select, const macro_word (&gates)[N]) const {
    return insert(select, 0) && each(gates, [this](macro_word gate) { return insert(frame::Field<1>{1, {gate}}, 0); });
  }

  [[nodiscard]] bool pulse(macro_word direction) const {
    return each(Member::PULSES, [&](macro_word word) { return write(ARRAY_PULSE, direction | word); });
  }

 private:
  static constexpr macro_word WRITE_DISABLED = 0;
  static constexpr macro_word WRITE_ENABLED = 1;

  [[nodiscard]] bool open_rings() const {
    const auto open = [this](macro_word ring) { return open_ring(ring); };
    return each(Member::INPUT_RINGS, open) && each(Member::OUTPUT_RINGS, open);
  }

  [[nodiscard]] bool close_rings() const {
    const auto close = [this](macro_word ring) { return close_ring(ring); };
    return each(Member::OUTPUT_RINGS, close) && each(Member::INPUT_RINGS, close);
  }

  /// Stores each entry as it was read, with its syndrome from bit 16 of the third word on.
  [[nodiscard]] bool dump() {
    if (!member().control(WRITE_DISABLED))
      return false;
    _COUNT3 = 0;
    _COUNT4 = 0;
    return member().walk([this] {
      macro_word _WORKING[4];  // the entry, and the result of the macro that checks it
      if (!(member().load_address() && write_ring(Member::ADDRESS_RING) && member().settle() && pulse(READ_PULSE)
            && read_ring(Member::DATA_OUT) && member().take(_WORKING)
            && call(frame::NO_DIRECTION, Member::CODE_MACRO, _WORKING, &_WORKING[3], _DUMMY)))
        return false;
      _DATA[_COUNT3] = _WORKING[0];
      _DATA[_COUNT3 + 1] = _WORKING[1];
      _DATA[_COUNT3 + 2] =
          lmcr_shift(_WORKING[3], Member::FORMAT.syndrome_at, 16, Member::FORMAT.check_bits) | _WORKING[2];
      _COUNT3 += 3;
      return read_ring(Member::ADDRESS_RING);
    });
  }

  /// Writes each entry with check bits made from its data, or with those it has when _PARA[2] bit 31 is set.
  [[nodiscard]] bool restore() {
    if (!member().control(WRITE_ENABLED))
      return false;
    _COUNT3 = 0;
    _COUNT4 = 0;
    return member().walk([this] {
      constexpr CodeFormat FORMAT = Member::FORMAT;
      if (!(member().load_address() && write_ring(Member::ADDRESS_RING) && read_ring(Member::DATA_IN)))
        return false;
      macro_word _WRD[3] = {_DATA[_COUNT3], _DATA[_COUNT3 + 1], _DATA[_COUNT3 + 2]};
      if (lmcr_shift(_PARA[2], 31, 31, 1) == 0) {
        macro_word result = 0;  // no member: the address of one, handed on, would keep them all in memory
        if (!call(frame::NO_DIRECTION, Member::CODE_MACRO, _WRD, &result, _DUMMY))
          return false;
        macro_word &word = _WRD[FORMAT.check_word];
        word = (word & FORMAT.data_beside) | lmcr_shift(result, FORMAT.generated_at, 0, FORMAT.check_bits);
      }
      if (!(member().put(_WRD) && write_ring(Member::DATA_IN) && pulse(0)))
        return false;
      _COUNT3 += 3;
      return read_ring(Member::ADDRESS_RING);
    });
  }
};

}  // namespace cpu
