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

/// What the steps of an array macro are made of, compiled once for all of them.
struct ArrayFrame : frame::ScanFrame {
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

  /// Opens or closes several rings.
  template <unsigned N>
  [[nodiscard]] bool open_each(const macro_word (&rings)[N]) const {
    return each(rings, [this](macro_word ring) { return open_ring(ring); });
  }
  template <unsigned N>
  [[nodiscard]] bool close_each(const macro_word (&rings)[N]) const {
    return each(rings, [this](macro_word ring) { return close_ring(ring); });
  }

  template <unsigned N>
  [[nodiscard]] bool pulse_each(const macro_word (&words)[N], macro_word direction) const {
    return each(words, [&](macro_word word) { return write(ARRAY_PULSE, direction | word); });
  }

  [[nodiscard]] bool set_control(const frame::Field<1> &hold, const frame::Field<1> &write_enable,
                                 macro_word enabled) const {
    return insert(hold, 0) && insert(write_enable, enabled);
  }

  /// Stores an entry in _DATA, with its syndrome from bit 16 of the third word on.
  /// @param _WORKING the entry, and room for the result of the macro that checks it.
  [[nodiscard]] bool store(const CodeFormat &format, macro_word code_macro, macro_word (&_WORKING)[4]) const {
    if (!call(frame::NO_DIRECTION, code_macro, _WORKING, &_WORKING[3], _DUMMY))
      return false;
    _DATA[_COUNT3] = _WORKING[0];
    _DATA[_COUNT3 + 1] = _WORKING[1];
    _DATA[_COUNT3 + 2] = lmcr_shift(_WORKING[3], format.syndrome_at, 16, format.check_bits) | _WORKING[2];
    return true;
  }

  /// Makes the check bits of an entry from its data.
  [[nodiscard]] bool encode(const CodeFormat &format, macro_word code_macro, macro_word (&_WRD)[3]) const {
    macro_word result = 0;  // no member: the address of one, handed on, would keep them all in memory
    if (!call(frame::NO_DIRECTION, code_macro, _WRD, &result, _DUMMY))
      return false;
    macro_word &word = _WRD[format.check_word];
    word = (word & format.data_beside) | lmcr_shift(result, format.generated_at, 0, format.check_bits);
    return true;
  }
};

/// How an array macro runs: it dumps (_RW = 1) or restores (_RW = 2) _PARA[1] entries; any other _RW only opens and
/// closes the rings.  What a step does is the member's to say, see ArrayMacro.
template <class Member>
struct ArrayRun : ArrayFrame {
  int run() {
    _COUNT1 = static_cast<int32_t>(_PARA[1]);
    _COUNT2 = static_cast<int32_t>(member().first_entry());
    if (_PARA[1] - 1 > Member::LIMIT - 1) {
      refuse(SUB_COUNT, _PARA[1]);
      return frame::STOPPED;
    }
    if (!(open_rings() && member().prepare() && read_ring(Member::ADDRESS_RING)))
      return frame::STOPPED;
    if ((_RW == frame::READ || _RW == frame::WRITE) && !transfer())
      return frame::STOPPED;
    return ended(close_rings());
  }

  [[nodiscard]] Member &member() { return static_cast<Member &>(*this); }

  [[nodiscard]] bool pulse(macro_word direction) const { return pulse_each(Member::PULSES, direction); }

 private:
  static constexpr macro_word WRITE_DISABLED = 0;
  static constexpr macro_word WRITE_ENABLED = 1;

  [[nodiscard]] bool open_rings() const { return open_each(Member::INPUT_RINGS) && open_each(Member::OUTPUT_RINGS); }

  [[nodiscard]] bool close_rings() const { return close_each(Member::OUTPUT_RINGS) && close_each(Member::INPUT_RINGS); }

  [[nodiscard]] bool transfer() {
    if (!(member().begin() && member().control(_RW == frame::WRITE ? WRITE_ENABLED : WRITE_DISABLED)))
      return false;
    _COUNT3 = 0;
    _COUNT4 = 0;
    return member().walk([this] {
      if (!(member().load_address() && write_ring(Member::ADDRESS_RING) && (_RW == frame::READ ? dump() : restore())))
        return false;
      _COUNT3 += 3;
      return read_ring(Member::ADDRESS_RING);
    }) && member().finish();
  }

  /// Stores the addressed entry as it is read, with its syndrome.
  [[nodiscard]] bool dump() {
    macro_word _WORKING[4];  // the entry, and the result of the macro that checks it
    return member().settle() && pulse(READ_PULSE) && read_ring(Member::DATA_OUT) && member().take(_WORKING)
           && store(Member::FORMAT, Member::CODE_MACRO, _WORKING);
  }

  /// Writes the addressed entry with check bits made from its data, or with those it has when _PARA[2] bit 0 is set.
  [[nodiscard]] bool restore() {
    if (!read_ring(Member::DATA_IN))
      return false;
    macro_word _WRD[3] = {_DATA[_COUNT3], _DATA[_COUNT3 + 1], _DATA[_COUNT3 + 2]};
    return (lmcr_shift(_PARA[2], 31, 31, 1) != 0 || encode(Member::FORMAT, Member::CODE_MACRO, _WRD))
           && member().put(_WRD) && write_ring(Member::DATA_IN) && pulse(0);
  }
};

/// An array macro, with the steps as most arrays take them.
///
/// Member is the macro's record, a struct derived from this.  It names
/// - FORMAT and CODE_MACRO: where the entry's check bits stand, and the test number of the macro that computes them;
/// - LIMIT: the greatest count;
/// - INPUT_RINGS and OUTPUT_RINGS: all rings, in the order of opening; the output rings are closed first;
/// - DATA_IN, ADDRESS_RING, DATA_OUT: the rings of the data-in, the address and control, and the data-out latches;
/// - PULSES: data words that pulse the array;
/// - HOLD and WRITE_ENABLE: control latches;
/// - ADDRESS, IN, OUT: the latches of address and data, where the member has no steps of its own for them.
///
/// Each step it either has itself or takes from here by name, `using ArrayMacro::settle`: those here are protected, so
/// that a step that is missing, because its name was misspelt, does not compile.  A struct between this and the members
/// makes public only what no member of it does differently.
template <class Member>
struct ArrayMacro : ArrayRun<Member> {
 protected:
  /// The number of the first entry or line: of 1024 entries, by default.
  [[nodiscard]] macro_word first_entry() const { return lmcr_shift(this->_PARA[0], 16, 22, 10); }
  /// Readies rings for the work, whatever _RW is.
  [[nodiscard]] bool prepare() { return true; }
  /// Before the first entry and after the last one.
  [[nodiscard]] bool begin() { return true; }
  [[nodiscard]] bool finish() { return true; }
  /// Sets the array's control latches.
  [[nodiscard]] bool control(macro_word write_enable) const {
    return this->set_control(Member::HOLD, Member::WRITE_ENABLE, write_enable);
  }
  /// Does a step for each entry; _COUNT2 is the entry's number and _COUNT1 counts those still to do.
  template <class Step>
  [[nodiscard]] bool walk(Step step) {
    for (; this->_COUNT1 > 0; --this->_COUNT1) {
      if (!step())
        return false;
      ++this->_COUNT2;
    }
    return true;
  }
  /// Sets the address latches.
  [[nodiscard]] bool load_address() { return this->insert(Member::ADDRESS, static_cast<macro_word>(this->_COUNT2)); }
  /// Readies the addressed entry for reading.
  [[nodiscard]] bool settle() { return true; }
  /// Takes an entry out of the data-out latches.
  [[nodiscard]] bool take(macro_word *entry) { return this->take_latches(Member::OUT, 0, entry); }
  /// Puts an entry into the data-in latches.
  [[nodiscard]] bool put(const macro_word *entry) { return this->put_latches(Member::IN, entry); }
};

}  // namespace cpu
