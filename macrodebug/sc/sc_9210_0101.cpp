#include "sc/command_register.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: sc_9210_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Issues the command sequence that _PARA[0] names in bits 28-31, with the preset value in bits 0-8, bit 0 being the
/// least significant.  The commands that go to one board go to the lowest one of the unit.
struct CommandSequence : frame::BroadcastFrame {
  static constexpr macro_word OPERATION = 0xF0000000;
  static constexpr macro_word LOAD = 0x10000000;
  static constexpr macro_word START_ALL = 0x20000000;
  static constexpr macro_word DIRECT_ALL = 0x30000000;
  static constexpr macro_word PRESET = 0x70000000;
  static constexpr macro_word START_BOARD = 0xC0000000;
  static constexpr macro_word DIRECT_BOARD = 0xD0000000;
  static constexpr macro_word PRESET_VALUE = 0x1FF;

  int run() {
    const macro_word command = _PARA[0] & OPERATION;
    const macro_word preset = (_PARA[0] & PRESET_VALUE) | PRESET;
    macro_word board = 0;
    for (_COUNT0 = 0; _COUNT0 < MRING_WORDS && board == 0; ++_COUNT0)
      board = _UNIT_NO & macro_word{1} << _COUNT0;
    _DATA[0] = command;
    _DATA[1] = preset;
    _DATA[2] = board;
    if (board == 0) {
      refuse(SUB_SELECTOR, _UNIT_NO);
      return frame::STOPPED;
    }

    switch (command) {
      case START_ALL:
        return ended(write_all(sc::COMMAND, preset) && write_all(sc::COMMAND, LOAD)
                     && write_all(sc::COMMAND, START_ALL));
      case DIRECT_ALL:
        return ended(write_all(sc::COMMAND, _PARA[0]));
      case START_BOARD:
        return ended(write_all(sc::COMMAND, preset) && write_all(sc::COMMAND, LOAD)
                     && write_boards(board, sc::COMMAND, START_BOARD));
      case DIRECT_BOARD:
        return ended(write_boards(board, sc::COMMAND, _PARA[0]));
      default:
        return frame::DONE;
    }
  }
};

}  // namespace

MACRO_ENTRY(sc_9210_0101, CommandSequence)
