#include "sc/command_register.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: sc_9211_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Reads the 32 entries of the table behind the command register into _DATA[0] to _DATA[31].
struct IndexedTable : frame::BroadcastFrame {
  static constexpr int32_t ENTRIES = 32;
  static constexpr macro_word SELECT_ENTRY = 0x80000000;
  static constexpr unsigned INDEX_SHIFT = 23;
  static constexpr macro_word ENTRY = 58;

  int run() {
    if (_RW != frame::READ)
      return frame::DONE;
    if (!check_broadcast(_UNIT_TYPE))
      return frame::STOPPED;
    for (_COUNT0 = 0; _COUNT0 < ENTRIES; ++_COUNT0)
      _DATA[_COUNT0] = 0;
    for (_COUNT0 = 0; _COUNT0 < ENTRIES; ++_COUNT0) {
      const macro_word index = static_cast<macro_word>(_COUNT0) << INDEX_SHIFT;
      if (!(write_all(sc::COMMAND, SELECT_ENTRY | index) && read(ENTRY, _DATA[_COUNT0])))
        return frame::STOPPED;
    }
    return frame::DONE;
  }
};

}  // namespace

MACRO_ENTRY(sc_9211_0101, IndexedTable)
