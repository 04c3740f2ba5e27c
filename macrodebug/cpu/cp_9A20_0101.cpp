#include "frame/frame.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9A20_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Fixed control-register sequences, chosen by fields of _PARA[0]: class in bits 28-31, kind in bits 24-27, flag in
/// bits 12-15, item in bits 0-11, bit 0 being the least significant.  _PARA[1] is a value for class 4.
///
/// A class makes its opening accesses before it looks at kind and item: they are not undone when those are refused.
struct ControlSequence : frame::Frame {
  // JTAG instructions.
  static constexpr macro_word COMMAND_A = 0xB8;
  static constexpr macro_word COMMAND_B = 0xB9;
  static constexpr macro_word READ_CONTROL_A = 0x61;
  static constexpr macro_word WRITE_CONTROL_A = 0x41;
  static constexpr macro_word READ_CONTROL_B = 0x7E;
  static constexpr macro_word WRITE_CONTROL_B = 0x5E;

  static constexpr macro_word CONTROL_A_MODE = 0x7000;
  static constexpr macro_word CONTROL_A_ARMED = 0x4000;
  static constexpr macro_word CONTROL_B_KEPT = 0x3FF;
  static constexpr macro_word CONTROL_B_RELEASED = 0x07FFFFFF;

  struct Item {
    macro_word item;
    macro_word word;
  };
  static constexpr Item CLASS_1_ITEMS[] = {
      {1, 0xA000},  {17, 0x4800}, {18, 0x4400}, {19, 0x4200}, {20, 0x4100},
      {21, 0x4080}, {22, 0x4040}, {23, 0x4020}, {24, 0x4010},
  };
  static constexpr Item CLASS_2_ITEMS[] = {{1, 0x6000}, {2, 0x5000}};
  static constexpr Item CLASS_3_ITEMS[] = {
      {17, 0x97000000}, {18, 0x9F000000}, {33, 0x87000000}, {34, 0x86000000}, {49, 0x82000000},
      {51, 0x80000000}, {52, 0x81000000}, {65, 0x84000000}, {66, 0x89000000},
  };

  /// What a case of class 4 puts into control register B: the kept bits of what was read, the flag bit and the value of
  /// _PARA[1] where the case has them, fixed bits, and in a second write the bit that starts it.
  struct Setting {
    macro_word kind;
    macro_word item;
    macro_word kept;
    bool flagged;
    enum { NONE, LOW_12, LOW_4 } value;
    macro_word fixed;
    macro_word start;
  };
  static constexpr Setting CLASS_4_SETTINGS[] = {
      {1, 1, 0xDF3FFFFF, true, Setting::LOW_12, 0, 0x20000000},
      {1, 2, 0xDF3FFFFF, false, Setting::LOW_12, 0x02000000, 0x20000000},
      {1, 17, 0x7F3FFFFF, true, Setting::LOW_12, 0, 0x80000000},
      {1, 18, 0x7F3FFFFF, false, Setting::LOW_12, 0x05000000, 0x80000000},
      {1, 33, 0xBF3FFFFF, true, Setting::NONE, 0x02033000, 0x40000000},
      {1, 34, 0xBF3FFFFF, true, Setting::NONE, 0x0200CC00, 0x40000000},
      {2, 1, 0xEF3FFFFF, true, Setting::LOW_4, 0, 0x10000000},
      {2, 17, 0xEF3FFFFF, true, Setting::LOW_4, 0x06000000, 0x10000000},
      {2, 18, 0xEF3FFFFF, true, Setting::LOW_4, 0x07000000, 0x10000000},
  };
  static constexpr macro_word FLAG_BIT = 0x00800000;

  [[nodiscard]] macro_word kind() const { return _PARA[0] >> 24 & 0xF; }
  [[nodiscard]] bool flag() const { return (_PARA[0] & 0xF000) != 0; }
  [[nodiscard]] macro_word item() const { return _PARA[0] & 0xFFF; }

  int run() {
    switch (_PARA[0] >> 28) {
      case 0:
        return clear_both();
      case 1:
        return class_1();
      case 2:
        return class_2();
      case 3:
        return class_3();
      case 4:
        return class_4();
      default:
        return frame::DONE;
    }
  }

  /// Clears command A and the mode of control register A.
  [[nodiscard]] bool clear_a() {
    return write(COMMAND_A, 0) && read(READ_CONTROL_A, _WORK0) && write(WRITE_CONTROL_A, _WORK0 & ~CONTROL_A_MODE);
  }

  /// Clears all of control register B but its lowest ten bits.
  [[nodiscard]] bool clear_b() {
    return read(READ_CONTROL_B, _WORK1) && write(WRITE_CONTROL_B, _WORK1 & CONTROL_B_KEPT);
  }

  int clear_both() {
    return ended(clear_a() && write(COMMAND_A, 0) && write(COMMAND_B, 0) && clear_b());
  }

  int class_1() {
    if (!clear_a())
      return frame::STOPPED;
    if (kind() == 0)
      return write_item(COMMAND_A, CLASS_1_ITEMS, 0);
    if (kind() != 1 || item() != 1)
      return refuse_selection();
    return ended(read(READ_CONTROL_A, _WORK2) && write(WRITE_CONTROL_A, _WORK2 | CONTROL_A_ARMED)
                 && write(COMMAND_A, flag() ? 0x8408 : 0x8400));
  }

  int class_2() {
    if (!write(COMMAND_A, 0))
      return frame::STOPPED;
    if (kind() != 0)
      return refuse_selection();
    return write_item(COMMAND_A, CLASS_2_ITEMS, 0);
  }

  int class_3() {
    if (!write(COMMAND_B, 0))
      return frame::STOPPED;
    switch (kind()) {
      case 0:
        return ended(write(COMMAND_B, lmcr_shift(item(), 26, 2, 6) | 0x80000000));
      case 1:
        return write_item(COMMAND_B, CLASS_3_ITEMS, flag() ? 0 : 0x40000000);
      default:
        return refuse_selection();
    }
  }

  int class_4() {
    if (!clear_b())
      return frame::STOPPED;
    for (const Setting &setting : CLASS_4_SETTINGS)
      if (setting.kind == kind() && setting.item == item())
        return apply(setting);
    return refuse_selection();
  }

  int apply(const Setting &setting) {
    _WORK2 = setting.fixed;
    if (setting.flagged && flag())
      _WORK2 |= FLAG_BIT;
    if (setting.value == Setting::LOW_12)
      _WORK2 |= lmcr_shift(_PARA[1], 20, 10, 12);
    if (setting.value == Setting::LOW_4)
      _WORK2 |= lmcr_shift(_PARA[1], 28, 18, 4);

    if (!read(READ_CONTROL_B, _WORK3))
      return frame::STOPPED;
    _WORK3 = (_WORK3 & setting.kept) | _WORK2;
    if (!(write(WRITE_CONTROL_B, _WORK3) && write(WRITE_CONTROL_B, _WORK3 | setting.start)))
      return frame::STOPPED;
    if (flag())
      return frame::DONE;
    return ended(read(READ_CONTROL_B, _WORK4) && write(WRITE_CONTROL_B, _WORK4 & CONTROL_B_RELEASED));
  }

  /// Writes the word of the chosen item.
  template <unsigned N>
  int write_item(macro_word code, const Item (&items)[N], macro_word base) const {
    for (const Item &row : items)
      if (row.item == item())
        return ended(write(code, base | row.word));
    return refuse_selection();
  }

  int refuse_selection() const {
    refuse(SUB_SELECTOR, _PARA[0], _PARA[1]);
    return frame::DONE;
  }
};

}  // namespace

MACRO_ENTRY(cp_9A20_0101, ControlSequence)
