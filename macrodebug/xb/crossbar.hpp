#pragma once

#include "frame/broadcast.hpp"

/// The crossbar.  Its macros clear the status cell when they begin, and return 0 when all went well.
namespace xb {

/// Unit types of a crossbar.  Both designate the same chips.
inline constexpr macro_word LINK_UNIT = 4;
inline constexpr macro_word RAM_UNIT = 16;

template <unsigned N>
void clear(macro_word (&words)[N]) {
  for (macro_word &word : words)
    word = 0;
}

struct Crossbar : frame::BroadcastFrame {
  /// Refuses other unit types, with the unit's location in the record.
  [[nodiscard]] bool check_unit(bool accepted) const {
    if (!accepted)
      refuse_unit();
    return accepted;
  }

  /// The end of a run in which nothing failed.
  [[nodiscard]] static int succeeded() {
    _RETURN = 0;
    return frame::DONE;
  }

  /// Runs another macro on crossbars of the caller's choice.
  [[nodiscard]] bool call_on(macro_word unit_no, const macro_word *mring, macro_word rw, macro_word number,
                             const macro_word *para, macro_word *data) const {
    lmcr_maccall(LINK_UNIT, unit_no, mring, rw, number, para, data, &_RETURN, _ERR, _EXP);
    return running();
  }
};

/// A body that reaches the RAMs: entries of three words, through an access word and three data registers.
struct RamPort : Crossbar {
  static constexpr int32_t ENTRY_WORDS = 3;

  // JTAG instructions; the two other words of an entry follow the first.
  static constexpr macro_word ACCESS = 0x88;
  static constexpr macro_word READ_DATA = 0x34;
  static constexpr macro_word WRITE_DATA = 0xB4;

  // An access word: the direction, below it RAM number and entry.
  static constexpr macro_word WRITE_ENTRY = 0x80000000;
  static constexpr macro_word READ_ENTRY = 0x40000000;
  static constexpr macro_word PLACE = 0x3FFFFFFF;

  [[nodiscard]] bool check_ram_unit() const { return check_unit(_UNIT_TYPE == LINK_UNIT || _UNIT_TYPE == RAM_UNIT); }

  [[nodiscard]] bool read_entry(macro_word place, macro_word *entry) const {
    return write(ACCESS, READ_ENTRY | place) && read(READ_DATA, entry[0]) && read(READ_DATA + 1, entry[1])
           && read(READ_DATA + 2, entry[2]);
  }

  /// The data are in place before the access word starts the write.
  [[nodiscard]] bool write_entry(macro_word place, const macro_word *entry) const {
    return write_all(WRITE_DATA, entry[0]) && write_all(WRITE_DATA + 1, entry[1]) && write_all(WRITE_DATA + 2, entry[2])
           && write_all(ACCESS, WRITE_ENTRY | place);
  }
};

}  // namespace xb
