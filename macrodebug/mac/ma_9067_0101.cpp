#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9067_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Dumps the groups of registers that bits of _PARA[0] select.  Every register has its own place in _DATA[0] to
/// _DATA[71], whether or not the groups before it are read.
struct SelectiveDump : mac::RegisterFile {
  /// Consecutive registers.
  struct Range {
    macro_word first;
    int32_t count;  ///< 0 = none
  };
  struct Group {
    macro_word bit;  ///< selects the group, 0 being the most significant
    bool common;     ///< whether it brings the common registers with it
    Range ranges[2];
  };
  static constexpr Group GROUPS[] = {
      {2, false, {{158, 1}, {140, 1}}},  // 0-1
      {3, false, {{159, 1}, {142, 1}}},  // 2-3
      {5, false, {{90, 1}}},             // 4
      {6, false, {{117, 2}}},            // 5-6
      {7, false, {{125, 1}, {127, 1}}},  // 7-8
      {8, true, {{144, 5}}},             // 9-13
      {9, true, {{150, 2}}},             // 14-15
      {10, true, {{152, 4}}},            // 16-19
      {12, true, {{160, 10}}},           // 20-29
      {13, true, {{170, 2}}},            // 30-31
      {14, true, {{172, 4}}},            // 32-35
      {16, true, {{176, 10}}},           // 36-45
      {17, true, {{186, 2}}},            // 46-47
      {18, true, {{188, 4}}},            // 48-51
  };
  /// 194 and 197 do not exist.
  static constexpr Range COMMON[] = {{192, 2}, {195, 2}, {198, 13}, {224, 3}};  // 52-71

  int run() {
    for (const Group &group : GROUPS) {
      if (lmcr_shift(_PARA[0], group.bit, 31, 1) != 1) {
        _COUNT0 += group.ranges[0].count + group.ranges[1].count;
        continue;
      }
      if (!(dump(group.ranges[0]) && dump(group.ranges[1])))
        return frame::STOPPED;
      if (group.common)
        _FLAG0 = 1;
    }
    if (_FLAG0 == 0)
      return frame::DONE;
    for (const Range &range : COMMON)
      if (!dump(range))
        return frame::STOPPED;
    return frame::DONE;
  }

  [[nodiscard]] bool dump(const Range &range) {
    macro_word number = range.first;
    for (_COUNT1 = 0; _COUNT1 < range.count; ++_COUNT1)
      if (!get(number++, _DATA[_COUNT0++]))
        return false;
    return true;
  }
};

}  // namespace

MACRO_ENTRY(ma_9067_0101, SelectiveDump)
