#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9003_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Searches the impedance code of a group's pull-up driver downwards and of its pull-down driver upwards, and leaves
/// both in register C.  A search ends well when the comparator turns over between the ends of the code range.
///
/// Group word, 0 = nothing found: bit 31 finding; bits 29 and 27 in the pull-up search, bits 28 and 26 in the pull-down
/// search; bit 25 no valid comparison; bits 12-15 or 8-11 the code at which that search ended.
struct ImpedanceSearch : mac::RegisterFile {
  macro_word _ERRPCH = 0;
  macro_word _ERRNCH = 0;

  // Register C.
  static constexpr macro_word PULL_UP = 0xF0000000;
  static constexpr macro_word PULL_UP_STEP_DOWN = 0xF0000000;
  static constexpr macro_word PULL_UP_LOWEST = 0x10000000;
  static constexpr macro_word PULL_DOWN = 0x0F000000;
  static constexpr macro_word PULL_DOWN_STEP_UP = 0x01000000;
  static constexpr macro_word COMPARE_PULL_UP = 0x780000;
  static constexpr macro_word COMPARE_PULL_DOWN = 0x5C0000;
  static constexpr macro_word HIGH = 0x8000;
  static constexpr macro_word VALID = 0x4000;

  int run() {
    if (_PARA[0] != mac::GROUP_1 && _PARA[0] != mac::GROUP_2)
      return refuse_selector();
    const mac::Group &group = mac::group_of(_PARA[0]);
    macro_word &finding = _DATA[group.result];
    clear_results();
    if (!(put(group.driver, 0) && search_down(group, finding)))
      return frame::STOPPED;
    if (finding == 0 && !search_up(group, finding))
      return frame::STOPPED;
    if (!put(group.impedance, finding != 0 ? 0 : _ERRPCH | _ERRNCH))
      return frame::STOPPED;
    if (finding == 0) {
      _DATA[0] = mac::COMPLETE;
    } else {
      finding |= 0x80000000;
      _DATA[0] = mac::FINDING;
    }
    return FELL_THROUGH;
  }

  /// Lets the comparator look at a code.  Its answer is settled in the second read.
  [[nodiscard]] bool compare(const mac::Group &group, macro_word code) {
    return put(group.impedance, code) && get(group.impedance, _WORK0) && get(group.impedance, _WORK0);
  }

  [[nodiscard]] bool search_down(const mac::Group &group, macro_word &finding) {
    _ERRPCH = PULL_UP;
    for (;;) {
      if (!compare(group, _ERRPCH | COMPARE_PULL_UP))
        return false;
      _ERRPCH = _WORK0 & PULL_UP;
      if ((_WORK0 & VALID) == 0) {
        finding |= _ERRPCH >> 16 | 0x2A000000;
        return true;
      }
      if ((_WORK0 & HIGH) != 0)
        break;
      if (_ERRPCH == 0) {
        finding |= 0x28000000;
        return true;
      }
      const bool lowest = _ERRPCH == PULL_UP_LOWEST;
      _ERRPCH += PULL_UP_STEP_DOWN;
      if (lowest)
        return true;
    }
    if (_ERRPCH == PULL_UP)
      finding |= 0x2800F000;
    return true;
  }

  [[nodiscard]] bool search_up(const mac::Group &group, macro_word &finding) {
    while (_ERRNCH != PULL_DOWN) {
      if (!compare(group, _ERRNCH | COMPARE_PULL_DOWN))
        return false;
      _ERRNCH = _WORK0 & PULL_DOWN;
      if ((_WORK0 & VALID) == 0) {
        finding |= _ERRNCH >> 16 | 0x16000000;
        return true;
      }
      if ((_WORK0 & HIGH) == 0) {
        if (_ERRNCH == 0)
          finding |= 0x14000000;
        return true;
      }
      if (_ERRNCH == PULL_DOWN) {
        finding |= 0x14000F00;
        return true;
      }
      _ERRNCH += PULL_DOWN_STEP_UP;
    }
    return true;
  }
};

}  // namespace

MACRO_ENTRY(ma_9003_0101, ImpedanceSearch)
