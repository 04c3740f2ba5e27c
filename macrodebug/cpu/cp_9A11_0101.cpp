#include "cpu/register_port.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9A11_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Reads the two-bit state, or gives one of five fixed commands.
struct State : cpu::RegisterPort {
  struct FixedCommand {
    macro_word selector;  ///< _PARA[0]
    macro_word command;
  };
  static constexpr FixedCommand FIXED_COMMANDS[] = {
      {16, 0x50000000}, {17, 0x50008000}, {32, 0x30000000}, {33, 0x20000000}, {48, 0x10000000},
  };

  int run() {
    if (_RW == frame::READ)
      return read_state();
    if (_RW == frame::WRITE)
      return give_command();
    return frame::DONE;
  }

  int read_state() {
    if (!(ask(cpu::READ_STATE, _WORK0) && read(cpu::STATUS, _WORK1)))
      return frame::STOPPED;
    // Bit 16 of the answer on top, the lowest status bit below it.
    _WORK2 = lmcr_shift(_WORK0, 16, 0, 1);
    _WORK3 = lmcr_shift(_WORK1, 31, 1, 1);
    _DATA[0] = _WORK2 | _WORK3;
    return frame::DONE;
  }

  int give_command() const {
    for (const FixedCommand &row : FIXED_COMMANDS)
      if (row.selector == _PARA[0])
        return ended(write(cpu::COMMAND, row.command));
    refuse(SUB_SELECTOR, _PARA[0]);
    return frame::DONE;
  }
};

}  // namespace

MACRO_ENTRY(cp_9A11_0101, State)
