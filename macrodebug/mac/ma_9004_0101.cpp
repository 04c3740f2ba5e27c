#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9004_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Reads the mode registers of the selected groups into _DATA[0] and _DATA[1], or sets them into one of two states.
struct ModeRegister : mac::RegisterFile {
  // Fields of _PARA[0] beside the groups.
  static constexpr macro_word RELEASE = 0x4;
  static constexpr macro_word ACCEPTED = RELEASE | mac::GROUP_FIELD;

  // Register A.
  static constexpr macro_word KEPT = 0xC000;
  static constexpr macro_word RELEASED = 0x10000000;
  static constexpr macro_word HELD = 0x20000000;

  int run() {
    if ((_PARA[0] & mac::GROUP_FIELD) == 0 || (_PARA[0] & ~ACCEPTED) != 0)
      return refuse_selector();
    if (_RW != frame::READ && _RW != frame::WRITE)
      return frame::DONE;
    for (const mac::Group &group : mac::GROUPS) {
      if ((_PARA[0] & group.selector) == 0)
        continue;
      if (_RW == frame::READ) {
        if (!get(group.mode, _DATA[group.result - 1]))
          return frame::STOPPED;
      } else {
        if (!get(group.mode, _WORK0))
          return frame::STOPPED;
        if (!put(group.mode, (_WORK0 & KEPT) | ((_PARA[0] & RELEASE) != 0 ? RELEASED : HELD)))
          return frame::STOPPED;
      }
    }
    return FELL_THROUGH;
  }
};

}  // namespace

MACRO_ENTRY(ma_9004_0101, ModeRegister)
