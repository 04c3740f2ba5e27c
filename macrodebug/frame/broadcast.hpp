#pragma once

#include "frame/frame.hpp"

namespace frame {

/// Accessors of macros that address a group of chips at once, and single chips of the group.
struct BroadcastFrame : Frame {
  /// JTAG: writes a data register of all chips at once.
  [[nodiscard]] bool write_all(macro_word code, macro_word data) const { return write_boards(MACRO_ALL, code, data); }

  /// The same for the chips of the boards in a mask.
  [[nodiscard]] bool write_boards(macro_word boards, macro_word code, macro_word data) const {
    lmcr_mjtag(MACRO_ALL, boards, MACRO_ALL, code, data, ONE, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO, _MRING, 1);
    return running();
  }

  /// JTAG: reads a data register of one chip.
  /// @param board board bit, 1 << board number.  @param chip the chip's bit in a location word.
  [[nodiscard]] bool read_chip(macro_word board, macro_word chip, macro_word code, macro_word &into) const {
    const macro_word data =
        lmcr_jtag(MACRO_ALL, board, chip, JTAG_READ, code, 0, ONE, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO, _MRING);
    if (!running())
      return false;
    into = data;
    return true;
  }

  /// Whether the unit may be addressed as a group; writes the error record when not.
  [[nodiscard]] bool check_broadcast(macro_word unit_type) const {
    if (lmcr_bcast(unit_type, _UNIT_NO, _MRING) > 0)
      return true;
    refuse_unit();
    return false;
  }

  /// The record of a unit that a macro cannot work on: its number in word 6 and its location words in words 8 to 23.
  void refuse_unit() const {
    record(SUB_SELECTOR, _UNIT_NO);
    for (int i = 0; i < MRING_WORDS; ++i)
      _ERR[ERR_LOCATION + i] = _MRING[i];
    _RETURN = MACRO_FAILED;
  }
};

}  // namespace frame
