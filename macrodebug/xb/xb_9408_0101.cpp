#include "xb/crossbar.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: xb_9408_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Dumps all RAMs into _DATA, one after another, each from its first entry: 122,880 words.
struct RamDump : xb::RamPort {
  static constexpr macro_word FIRST_RAM = 0x90;
  static constexpr macro_word GAP = 0xD4;  ///< there are no RAMs from here
  static constexpr macro_word GAP_END = 0xE0;
  static constexpr macro_word END = 0xEC;
  static constexpr macro_word ENTRIES = 512;
  static constexpr unsigned RAM_SHIFT = 16;

  int run() {
    _RETURN = 0;
    _DATA[0] = 0;
    if (!(check_ram_unit() && check_broadcast(_UNIT_TYPE)))
      return frame::STOPPED;

    macro_word *_DATAPTR = _DATA;
    for (macro_word _RAMID = FIRST_RAM; _RAMID < END; _RAMID = _RAMID + 1 == GAP ? GAP_END : _RAMID + 1)
      for (macro_word _ADDRESS = 0; _ADDRESS < ENTRIES; ++_ADDRESS) {
        if (!read_entry(_RAMID << RAM_SHIFT | _ADDRESS, _DATAPTR))
          return frame::STOPPED;
        _DATAPTR += ENTRY_WORDS;
      }
    return static_cast<int>(_RETURN);
  }
};

}  // namespace

MACRO_ENTRY(xb_9408_0101, RamDump)
