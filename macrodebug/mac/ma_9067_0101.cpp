#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9067_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Dumps the groups of registers that bits of _PARA[0] select.  Every register has its own place in _DATA[0] to
/// _DATA[71], whether or not the groups before it are read.
struct SelectiveDump : mac::RegisterFile {
  /// Some consecutive registers of a group.
  struct Range {
    macro_word bit;  ///< the group's bit, 0 being the most significant
    macro_word first;
    int32_t count;
    bool common;  ///< whether the group brings the common registers with it
  };
  static constexpr Range RANGES[] = {
      {2, 158, 1, false},  {2, 140, 1, false},                      // 0-1
      {3, 159, 1, false},  {3, 142, 1, false},                      // 2-3
      {5, 90, 1, false},                                            // 4
      {6, 117, 2, false},                                           // 5-6
      {7, 125, 1, false},  {7, 127, 1, false},                      // 7-8
      {8, 144, 5, true},   {9, 150, 2, true},  {10, 152, 4, true},  // 9-19
      {12, 160, 10, true}, {13, 170, 2, true}, {14, 172, 4, true},  // 20-35
      {16, 176, 10, true}, {17, 186, 2, true}, {18, 188, 4, true},  // 36-51
  };
  struct Common {
    macro_word first;
    int32_t count;
  };
  /// 194 and 197 do not exist.
  static constexpr Common COMMON[] = {{192, 2}, {195, 2}, {198, 13}, {224, 3}};  // 52-71

  int run() {
    for (const Range &range : RANGES) {
      _WORK0 = lmcr_shift(_PARA[0], range.bit, 31, 1);
      if (_WORK0 != 1) {
        _COUNT0 += range.count;
        continue;
      }
      if (!dump(range.first, range.count))
        return frame::STOPPED;
      if (range.common)
        _FLAG0 = 1;
    }
    if (_FLAG0 == 0)
      return frame::DONE;
    for (const Common &range : COMMON)
      if (!dump(range.first, range.count))
        return frame::STOPPED;
    return frame::DONE;
  }

  [[nodiscard]] bool dump(macro_word first, int32_t count) {
    for (macro_word number = first; count > 0; --count)
      if (!get(number++, _DATA[_COUNT0++]))
        return false;
    return true;
  }
};

}  // namespace

MACRO_ENTRY(ma_9067_0101, SelectiveDump)
