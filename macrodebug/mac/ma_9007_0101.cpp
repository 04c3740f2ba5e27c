#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9007_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Adjusts the off-chip drivers of one rank of a group: from the weakest setting up, step by step, until the levels of
/// both strobe lines, P and N, show that they are strong enough; first the pull-up, then the pull-down drivers.
/// _PARA[0]: group in bits 0-1, bypass in bit 4, delay field in bits 12-14, rank in bits 28-29.
///
/// Group word, 0 = nothing found: bits 28-29 rank, 27 pull-up or 26 pull-down failed, 25 no valid level, 23 P and
/// 22 N not strong enough, 16 pull-up or 17 pull-down.
struct DriverAdjustment : mac::RegisterFile {
  macro_word _ERRPN[2] = {};  ///< marks of P and N: seen strong enough
  macro_word _ERROCDRSLT = 0;
  macro_word _CFR = 0;
  macro_word _DIMMRTTT = 0;
  macro_word _OCDZSEL = 0;

  // Fields of _PARA[0].
  static constexpr macro_word RANK = 0x30000000;
  static constexpr macro_word BYPASS = 0x10;
  static constexpr macro_word ACCEPTED = 0x30007013;

  // Register B, with rank, delay and termination ORed in.
  static constexpr macro_word NEUTRAL = 0xC0000000;
  static constexpr macro_word DEFAULTS = 0xC0000380;
  static constexpr macro_word ADJUST = 0xC0000200;
  static constexpr macro_word WEAKER = 0xCAA00200;

  // Register A.
  static constexpr macro_word LEVEL_P = 0x00800000;
  static constexpr macro_word LEVEL_N = 0x00400000;
  static constexpr macro_word LEVEL_VALID = 0x00200000;

  // Register C.
  static constexpr macro_word CODES = 0xFF000000;
  static constexpr macro_word DRIVE = 0x80000;

  // The group word.
  static constexpr macro_word NO_LEVEL = 0x02000000;
  static constexpr macro_word WEAK_P = 0x00800000;
  static constexpr macro_word WEAK_N = 0x00400000;

  static constexpr int32_t STEPS = 16;

  /// A pass over one kind of drivers.
  struct Pass {
    macro_word start;   ///< drives the lines
    macro_word strong;  ///< the level bits of drivers that are strong enough
    macro_word step_p;  ///< one step stronger
    macro_word step_n;
    macro_word failed;  ///< in the group word
  };
  static constexpr Pass PULL_UP{0xC0000080, LEVEL_P | LEVEL_N, 0x01000000, 0x00100000, 0x08010000};
  static constexpr Pass PULL_DOWN{0xC0080100, 0, 0x04000000, 0x00400000, 0x04020000};

  int run() {
    if (!mac::names_one_group(_PARA[0]) || (_PARA[0] & mac::DELAY_FIELD) > mac::LONGEST_DELAY
        || (_PARA[0] & ~ACCEPTED) != 0)
      return refuse_selector();
    const mac::Group &group = mac::group_of(_PARA[0]);
    if (!get(group.configuration, _CFR))
      return frame::STOPPED;
    clear_results();
    _DIMMRTTT = mac::driver_word(mac::delay_code(_PARA[0]), _CFR) | (_PARA[0] & RANK);
    if (!get(mac::OPTION_REGISTER, _WORK0))
      return frame::STOPPED;
    if (_WORK0 == 0 || (_PARA[0] & BYPASS) != 0) {
      if (!(control(group, DEFAULTS) && control(group, NEUTRAL)))
        return frame::STOPPED;
      _DATA[0] = mac::COMPLETE;
      return frame::DONE;
    }

    macro_word &finding = _DATA[group.result];
    if (!(weaken(group) && strengthen(group, PULL_UP, finding)))
      return frame::STOPPED;
    if (finding == 0 && !strengthen(group, PULL_DOWN, finding))
      return frame::STOPPED;
    if (!put(group.driver, 0))
      return frame::STOPPED;
    _DATA[0] = finding == 0 ? mac::COMPLETE : mac::FINDING;
    return FELL_THROUGH;
  }

  /// Writes register B for the rank and remembers the word.
  [[nodiscard]] bool control(const mac::Group &group, macro_word word) {
    _ERROCDRSLT = _DIMMRTTT | word;
    return put(group.driver, _ERROCDRSLT);
  }

  /// Takes all drivers to their weakest setting.
  [[nodiscard]] bool weaken(const mac::Group &group) {
    if (!get(group.impedance, _OCDZSEL))
      return false;
    if (!put(group.impedance, (_OCDZSEL & CODES) | DRIVE))
      return false;
    for (_COUNT0 = 0; _COUNT0 < STEPS; ++_COUNT0)
      if (!(control(group, WEAKER) && control(group, NEUTRAL)))
        return false;
    return true;
  }

  [[nodiscard]] bool strengthen(const mac::Group &group, const Pass &pass, macro_word &finding) {
    _ERRPN[0] = 0;
    _ERRPN[1] = 0;
    for (_COUNT0 = 0; _COUNT0 < STEPS; ++_COUNT0) {
      // Reading register B makes sure that the control word has left the controller.
      if (!(control(group, pass.start) && get(group.driver, _WORK1)))
        return false;
      lmcr_wait(1);
      if (!get(group.mode, _WORK2))
        return false;
      if ((_WORK2 & LEVEL_VALID) == 0) {
        finding |= NO_LEVEL;
        break;
      }
      const macro_word strong = ~(_WORK2 ^ pass.strong);
      _ERRPN[0] |= strong & LEVEL_P;
      _ERRPN[1] |= strong & LEVEL_N;
      if (!control(group, NEUTRAL))
        return false;
      if (_ERRPN[0] != 0 && _ERRPN[1] != 0)
        break;
      _WORK3 = ADJUST | (_ERRPN[0] != 0 ? 0 : pass.step_p) | (_ERRPN[1] != 0 ? 0 : pass.step_n);
      if (!(control(group, _WORK3) && control(group, NEUTRAL)))
        return false;
    }
    if (_ERRPN[0] == 0)
      finding |= WEAK_P;
    if (_ERRPN[1] == 0)
      finding |= WEAK_N;
    // The control word in bits 8-15 is one without adjustment: these bits are always 0.
    if (finding != 0)
      finding |= (_PARA[0] & RANK) | pass.failed | (_ERROCDRSLT >> 12 & 0xFF00);
    return true;
  }
};

}  // namespace

MACRO_ENTRY(ma_9007_0101, DriverAdjustment)
