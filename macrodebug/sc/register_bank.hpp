#pragma once

#include "frame/broadcast.hpp"

/// Register banks that every system controller has.
namespace sc {

/// A register of a bank: bit `number` of _PARA[0] selects it, _DATA[number] holds its value.
struct Register {
  unsigned number;
  macro_word read;  ///< JTAG instruction; the one that writes has bit 7 set as well
};

/// The width of registers that have all bits of a word.
inline constexpr macro_word WHOLE_WORD = 0xFFFFFFFF;

template <unsigned N>
struct Bank {
  Register registers[N];
  unsigned data_words;  ///< how many words of _DATA belong to the bank
  macro_word width;     ///< the bits that a register has
};

/// A bank of `N` registers numbered from 0, with consecutive instructions.
template <unsigned N>
[[nodiscard]] consteval Bank<N> consecutive(macro_word first, macro_word width) {
  Bank<N> bank{{}, N, width};
  for (unsigned i = 0; i < N; ++i)
    bank.registers[i] = {i, first + i};
  return bank;
}

/// Reads the selected registers of a bank from all chips at once, or writes them to all chips and then proves, chip by
/// chip, that each holds what was written.
///
/// Bits of _PARA[1] make the proof of these registers fail on every chip, so that the record of a failure can be tried.
template <const auto &BANK>
struct RegisterBank : frame::BroadcastFrame {
  static constexpr macro_word WRITE_BIT = 0x80;
  // Chips of a board and the first one's bit in a location word.
  static constexpr int32_t CHIPS = 4;
  static constexpr macro_word FIRST_CHIP = 0x100;

  int run() {
    switch (_RW) {
      case frame::READ:
        return read_bank();
      case frame::WRITE:
        return ended(write_bank() && verify_bank());
      default:
        return frame::DONE;
    }
  }

  [[nodiscard]] bool selected(const Register &row) const { return (_PARA[0] >> row.number & 1) != 0; }
  [[nodiscard]] bool forced_to_fail(const Register &row) const { return (_PARA[1] >> row.number & 1) != 0; }

  int read_bank() {
    if (!check_broadcast(_UNIT_TYPE))
      return frame::STOPPED;
    for (unsigned i = 0; i < BANK.data_words; ++i)
      _DATA[i] = 0;
    for (const Register &row : BANK.registers)
      if (selected(row) && !read(row.read, _DATA[row.number]))
        return frame::STOPPED;
    return frame::DONE;
  }

  [[nodiscard]] bool write_bank() const {
    if constexpr (BANK.width != WHOLE_WORD)
      for (unsigned i = 0; i < BANK.data_words; ++i)
        _DATA[i] &= BANK.width;
    for (const Register &row : BANK.registers)
      if (selected(row) && !write_all(row.read | WRITE_BIT, _DATA[row.number]))
        return false;
    return true;
  }

  [[nodiscard]] bool verify_bank() {
    macro_word failing_chips[MRING_WORDS];
    macro_word failing_boards = 0;
    for (_COUNT0 = 0; _COUNT0 < MRING_WORDS; ++_COUNT0) {
      const macro_word board = macro_word{1} << _COUNT0;
      failing_chips[_COUNT0] = 0;
      if ((_UNIT_NO & board) == 0)
        continue;
      if (!verify_board(board, _MRING[_COUNT0], failing_chips[_COUNT0]))
        return false;
      if (failing_chips[_COUNT0] != 0)
        failing_boards |= board;
    }
    if (failing_boards == 0)
      return true;
    record(SUB_THIRD, failing_boards);
    for (_COUNT0 = 0; _COUNT0 < MRING_WORDS; ++_COUNT0)
      _ERR[ERR_LOCATION + _COUNT0] = failing_chips[_COUNT0];
    _RETURN = MACRO_FAILED;
    return false;
  }

  /// Every selected register of every selected chip is read, whatever the others held.
  [[nodiscard]] bool verify_board(macro_word board, macro_word chips, macro_word &failing) {
    for (_COUNT1 = 0; _COUNT1 < CHIPS; ++_COUNT1) {
      const macro_word chip = FIRST_CHIP << _COUNT1;
      if ((chips & chip) == 0)
        continue;
      for (const Register &row : BANK.registers) {
        if (!selected(row))
          continue;
        if (!read_chip(board, chip, row.read, _WORK0))
          return false;
        if (_WORK0 != _DATA[row.number] || forced_to_fail(row))
          failing |= chip;
      }
    }
    return true;
  }
};

}  // namespace sc
