#pragma once

#include "frame/frame.hpp"

/// The table RAMs of the system controller.
namespace sc {

/// A table RAM and how the macro that serves it looks at failures.
struct Table {
  int32_t ways;
  macro_word select;  ///< the table in an address register word
  bool tested;        ///< whether the first failed access ends the macro; otherwise none does
};

/// Moves entries between a table RAM and _DATA, byte by byte through an address register and a data register.
///
/// _PARA[0] is the first entry, _PARA[1] their number.  A way of an entry takes three words of _DATA, twelve bytes, of
/// which the table has the last ten.
template <Table TABLE>
struct TableRam : frame::Frame {
  static constexpr macro_word LAST_ENTRY = 511;
  static constexpr int32_t FIRST_BYTE = 2;
  static constexpr int32_t LAST_BYTE = 11;
  static constexpr int32_t WORDS = 3;

  // JTAG instructions.
  static constexpr macro_word ADDRESS = 136;
  static constexpr macro_word WRITE_DATA = 180;
  static constexpr macro_word READ_DATA = 52;

  // Address register words.
  static constexpr macro_word SELECT_FIELD = 0xC0000000 | TABLE.select;
  static constexpr macro_word COMMIT = 0x80000000 | TABLE.select;
  static constexpr macro_word FETCH = 0x40000000 | TABLE.select;
  static constexpr macro_word CLOSED = 0x3C00;
  static constexpr macro_word FIRST_FIELD = 0x1000;
  static constexpr macro_word FIELD_DISTANCE = 0x0400;

  macro_word _ANSWER = 0;  ///< what the last access returned

  int run() {
    if (_PARA[0] > LAST_ENTRY) {
      refuse(SUB_SELECTOR, _PARA[0]);
      return frame::STOPPED;
    }
    if (_PARA[1] > LAST_ENTRY - _PARA[0]) {
      refuse(SUB_COUNT, _PARA[0]);
      return frame::STOPPED;
    }
    if (_RW != frame::READ && _RW != frame::WRITE)
      return frame::DONE;
    macro_word *words = _DATA;
    for (macro_word entry = _PARA[0]; entry < _PARA[0] + _PARA[1]; ++entry)
      for (_COUNT0 = 0; _COUNT0 < TABLE.ways; ++_COUNT0) {
        const macro_word way = lmcr_shift(static_cast<macro_word>(_COUNT0), 30, 14, 2);
        if (!(_RW == frame::WRITE ? write_way(entry, way, words) : read_way(entry, way, words)))
          return frame::STOPPED;
        words += WORDS;
      }
    return TABLE.tested ? frame::DONE : static_cast<int>(_ANSWER);
  }

  [[nodiscard]] bool write_way(macro_word entry, macro_word way, const macro_word *words) {
    for (_COUNT1 = FIRST_BYTE; _COUNT1 <= LAST_BYTE; ++_COUNT1)
      if (!(put(ADDRESS, SELECT_FIELD | way | field())
            && put(WRITE_DATA, lmcr_shift(words[_COUNT1 / 4], position(), 24, 8))))
        return false;
    return put(ADDRESS, COMMIT | way | entry) && put(ADDRESS, SELECT_FIELD | way | CLOSED);
  }

  [[nodiscard]] bool read_way(macro_word entry, macro_word way, macro_word *words) {
    if (!put(ADDRESS, FETCH | way | entry))
      return false;
    for (_COUNT1 = FIRST_BYTE; _COUNT1 <= LAST_BYTE; ++_COUNT1) {
      if (!(put(ADDRESS, SELECT_FIELD | way | field()) && get(READ_DATA)))
        return false;
      _WORK0 = lmcr_shift(_ANSWER, 24, position(), 8);
      const bool first_of_word = _COUNT1 == FIRST_BYTE || position() == 0;
      words[_COUNT1 / 4] = first_of_word ? _WORK0 : words[_COUNT1 / 4] | _WORK0;
    }
    return put(ADDRESS, SELECT_FIELD | way | CLOSED);
  }

  /// The field of byte _COUNT1 in an address register word.
  [[nodiscard]] macro_word field() const {
    return FIRST_FIELD + static_cast<macro_word>(_COUNT1 - FIRST_BYTE) * FIELD_DISTANCE;
  }

  /// The position of byte _COUNT1 in its word, counted from the most significant bit.
  [[nodiscard]] macro_word position() const { return static_cast<macro_word>(_COUNT1) % 4 * 8; }

  [[nodiscard]] bool put(macro_word code, macro_word data) { return access(frame::JTAG_WRITE, code, data); }
  [[nodiscard]] bool get(macro_word code) { return access(frame::JTAG_READ, code, 0); }

  /// One access; true while the macro goes on.
  [[nodiscard]] bool access(macro_word kind, macro_word code, macro_word data) {
    _ANSWER = lmcr_jtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, kind, code, data, frame::ONE, &_RETURN, _ERR, _UNIT_TYPE,
                        _UNIT_NO, _MRING);
    return !TABLE.tested || running();
  }
};

}  // namespace sc
