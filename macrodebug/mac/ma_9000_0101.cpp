#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9000_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Calibrates both DIMM groups as the controller's configuration registers describe them, then polls both for
/// completion.
///
/// _DATA[0] ends with a verdict in each half word, group 1 in the upper: bit 15 complete; bits 13-12 impedance search,
/// 11-10 and 9-8 driver adjustment of the first rank of either DIMM, 7-6 and 5-4 of the second, 3-2 completion, each as
/// "complete, finding".
struct WholeSequence : mac::RegisterFile {
  macro_word _CFRBK0 = 0;
  macro_word _CFRBK1 = 0;
  macro_word _ERRFLG0 = 0;
  macro_word _ERRFLG1 = 0;

  /// The parameters of a calibration that depend on the option register: drive code and delay code.
  static constexpr macro_word WITH_OPTION = 0x400 | 0x3000;
  static constexpr macro_word WITHOUT_OPTION = 0x300 | 0x4000;
  /// The finding bits of a calibration's verdict.
  static constexpr macro_word CALIBRATION_FINDINGS = 0x15500000;
  static constexpr macro_word COMPLETION_PLACE = 12;

  int run() {
    if (!(get(mac::GROUPS[0].configuration, _CFRBK0) && get(mac::GROUPS[1].configuration, _CFRBK1)))
      return frame::STOPPED;
    _CFRBK0 = normalised(_CFRBK0);
    _CFRBK1 = normalised(_CFRBK1);
    if (!get(mac::OPTION_REGISTER, _WORK0))
      return frame::STOPPED;
    _WORK1 = _WORK0 != 0 ? WITH_OPTION : WITHOUT_OPTION;

    if (_CFRBK0 != 0) {
      if (!calibrate(mac::GROUP_1, _CFRBK0, _ERRFLG0))
        return status();
      if ((_DATA[0] & CALIBRATION_FINDINGS) != 0)
        return report(_ERRFLG0);
    }
    if (_CFRBK1 != 0) {
      if (!calibrate(mac::GROUP_2, _CFRBK1, _ERRFLG1))
        return status();
      if ((_DATA[0] & CALIBRATION_FINDINGS) != 0)
        return report(_ERRFLG1 >> 16 | _ERRFLG0);
    }
    if (_CFRBK0 != 0) {
      if (!poll(mac::GROUP_1, _ERRFLG0))
        return status();
      if (found())
        return report(_ERRFLG1 >> 16 | _ERRFLG0);
    }
    if (_CFRBK1 != 0) {
      if (!poll(mac::GROUP_2, _ERRFLG1))
        return status();
      if (found())
        return report(_ERRFLG1 >> 16 | _ERRFLG0);
    }
    _DATA[0] = (_ERRFLG1 | mac::COMPLETE) >> 16 | (_ERRFLG0 | mac::COMPLETE);
    return (_CFRBK0 | _CFRBK1) != 0 ? status() : FELL_THROUGH;
  }

  /// A configuration word without what it says of DIMMs that are not fitted, and of a DIMM whose second rank is not
  /// complete.
  static constexpr macro_word normalised(macro_word word) {
    if ((word & 0x80000000) == 0)
      word &= 0xFF80;
    else if ((word & 0x01800000) != 0x01800000)
      word &= ~macro_word{0x01FF007F};
    if ((word & 0x8000) == 0)
      word &= ~macro_word{0x007FFFFF};
    else if ((word & 0x180) != 0x180)
      word &= ~macro_word{0x007F01FF};
    return word;
  }

  [[nodiscard]] bool calibrate(macro_word group, macro_word configuration, macro_word &verdict) {
    const macro_word _TEMP[2] = {_WORK1 | group, configuration};
    if (!nest(frame::NO_DIRECTION, mac::CALIBRATE_GROUP, _TEMP, _DATA))
      return false;
    verdict = _DATA[0];
    return true;
  }

  [[nodiscard]] bool poll(macro_word group, macro_word &verdict) {
    if (!nest(frame::NO_DIRECTION, mac::POLL_COMPLETIONS, &group, _DATA))
      return false;
    verdict |= (_DATA[0] & mac::VERDICT) >> COMPLETION_PLACE;
    return true;
  }

  int report(macro_word verdict) const {
    _DATA[0] = verdict;
    return frame::DONE;
  }
};

}  // namespace

MACRO_ENTRY(ma_9000_0101, WholeSequence)
