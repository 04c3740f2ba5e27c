#include "cpu/register_port.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9A12_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Reads or writes one register, or one byte register out of the word that packs four of them.
struct OneRegister : cpu::RegisterPort {
  // Fields of _PARA[0].
  static constexpr macro_word INDEX = 0x07;
  static constexpr macro_word GROUP = 0x18;
  static constexpr macro_word BYTE_GROUP = 0x00;  ///< registers 0-7; 8 stands for 16-23, 16 for 32-39
  static constexpr macro_word NO_GROUP = 0x18;

  int run() {
    const macro_word group = _PARA[0] & GROUP;
    if (group == NO_GROUP) {
      refuse(SUB_FIELD, _PARA[0]);
      return frame::DONE;
    }
    const macro_word index = _PARA[0] & INDEX;
    const macro_word field = cpu::register_field(2 * group + index);
    const macro_word position = (index & 3) * 8;  // of the byte in the word

    if (_RW == frame::READ) {
      if (!ask(field | cpu::READ_FOR_BYTE, _WORK0))
        return frame::STOPPED;
      _DATA[0] = group == BYTE_GROUP ? lmcr_shift(_WORK0, position, 24, 8) : _WORK0;
    } else if (_RW == frame::WRITE && group != BYTE_GROUP) {
      if (!write(cpu::COMMAND, field | (_DATA[0] & cpu::REGISTER_DATA) | cpu::WRITE_REGISTER))
        return frame::STOPPED;
    } else if (_RW == frame::WRITE) {
      if (!ask(field | cpu::READ_FOR_BYTE, _WORK0))
        return frame::STOPPED;
      _WORK1 = lmcr_shift(MACRO_ALL, position, position, 8);
      _WORK2 = lmcr_shift(_DATA[0], 24, position, 8);
      if (!write(index > 3 ? cpu::WRITE_BYTES_4_7 : cpu::WRITE_BYTES_0_3, (_WORK0 & ~_WORK1) | _WORK2))
        return frame::STOPPED;
    }
    return frame::DONE;
  }
};

}  // namespace

MACRO_ENTRY(cp_9A12_0101, OneRegister)
