#include "mac/register_file.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9001_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Calibrates one DIMM group.  _PARA[0]: group in bits 0-1, drive field in bits 8-10, delay field in bits 12-14;
/// _PARA[1]: the group's configuration word.
///
/// _DATA[0] ends with "complete, finding" of each part: impedance search in bits 29-28, driver adjustment in bits 27-26
/// and 25-24 for the first rank of either DIMM, 23-22 and 21-20 for the second.
struct GroupCalibration : mac::RegisterFile {
  macro_word _CFR = 0;
  macro_word _DIMMADD = 0;
  macro_word _MACRTT = 0;
  macro_word _ERRFLG = 0;
  macro_word _DIMMAL = 0;
  macro_word _DIMMCL = 0;

  // Register A.
  static constexpr macro_word RESET_MODE = 0x80000000;
  static constexpr macro_word START_MODE = 0x40000000;
  static constexpr macro_word BOTH_TERMINATED_MODE = 0x8000;
  static constexpr macro_word HELD_MODE = 0x8000C000;

  static constexpr macro_word DRIVE_FIELD = 0x700;
  static constexpr macro_word SCRATCH_WORDS = 2;
  static constexpr macro_word RELEASE = 4;  ///< in the parameter of SET_MODE
  static constexpr macro_word IMPEDANCE_PLACE = 2;

  /// A rank of the group's DIMMs: it is there when both conditions have a bit in the configuration word.
  struct Rank {
    macro_word fitted;
    macro_word rank;
    macro_word code;   ///< in the parameter of ADJUST_DRIVERS, and 26 bits further up in register B
    macro_word place;  ///< of its verdict
  };
  static constexpr Rank RANKS[] = {
      {0x80000000, 0x80000000, 0, 4},
      {0x80000000, 0x01800000, 8, 8},
      {0x00008000, 0x00008000, 4, 6},
      {0x00008000, 0x00000180, 12, 10},
  };

  [[nodiscard]] bool has(const Rank &rank) const { return (_CFR & rank.fitted) != 0 && (_CFR & rank.rank) != 0; }

  int run() {
    const macro_word drive = _PARA[0] & DRIVE_FIELD;
    const bool drivable = drive == 0x300 || drive == 0x400 || drive == 0x500;
    if (!mac::names_one_group(_PARA[0]) || !drivable || (_PARA[0] & mac::DELAY_FIELD) > mac::LONGEST_DELAY)
      return refuse_selector();
    _DIMMADD = _PARA[0] & mac::GROUP_FIELD;
    _CFR = _PARA[1];
    _DIMMCL = drive >> 4;
    _DIMMAL = mac::delay_code(_PARA[0]);
    _MACRTT = mac::driver_word(_DIMMAL, _CFR);

    if (!calibrate_part(mac::SEARCH_IMPEDANCES, _DIMMADD, IMPEDANCE_PLACE))
      return status();
    if (found())
      return conclude();
    if (!(set_up_mode() && set_up_drivers() && cycle_mode()))
      return status();
    for (const Rank &rank : RANKS) {
      if (!has(rank))
        continue;
      if (!calibrate_part(mac::ADJUST_DRIVERS, _DIMMADD | (_PARA[0] & mac::DELAY_FIELD) | rank.code, rank.place))
        return status();
      if (found())
        return conclude();
    }
    return set_mode(_DIMMADD) ? conclude() : status();
  }

  /// Runs a part of the calibration and takes its verdict in.
  [[nodiscard]] bool calibrate_part(macro_word number, macro_word _TEMP, macro_word place) {
    if (!nest(frame::NO_DIRECTION, number, &_TEMP, _DATA))
      return false;
    _ERRFLG |= (_DATA[0] & mac::VERDICT) >> place;
    return true;
  }

  /// What register A holds of the terminations.
  [[nodiscard]] macro_word terminations() const { return mac::both_terminated(_CFR) ? BOTH_TERMINATED_MODE : 0; }

  /// Resets the group and starts it; a mode register that does not take the word stops the run.
  [[nodiscard]] bool set_up_mode() {
    const macro_word mode = mac::group_of(_DIMMADD).mode;
    _WORK0 = terminations() | RESET_MODE;
    if (!(put(mode, _WORK0) && get(mode, _WORK1)))
      return false;
    if (((_WORK0 ^ _WORK1) & HELD_MODE) != 0) {
      refuse(SUB_THIRD, _UNIT_NO, _MRING[0]);
      return false;
    }
    return put(mode, terminations() | START_MODE);
  }

  /// Gives every rank its drive, delay and termination.
  [[nodiscard]] bool set_up_drivers() {
    const macro_word driver = mac::group_of(_DIMMADD).driver;
    if (!(put(driver, 0x80020000) && put(driver, 0x80030000)))
      return false;
    for (const Rank &rank : RANKS)
      if (has(rank) && !put(driver, _MACRTT | 0xC0000000 | rank.code << 26))
        return false;
    return put(driver, _DIMMCL | 0x80000702) && put(mac::group_of(_DIMMADD).mode, terminations() | START_MODE);
  }

  [[nodiscard]] bool cycle_mode() {
    return set_mode(_DIMMADD) && read_mode(_DIMMADD) && set_mode(_DIMMADD | RELEASE)
           && put(mac::group_of(_DIMMADD).driver, _DIMMCL | 0x80000602);
  }

  [[nodiscard]] bool read_mode(macro_word _TEMP) const { return nest(frame::READ, mac::SET_MODE, &_TEMP, _DATA); }

  [[nodiscard]] bool set_mode(macro_word _TEMP) const {
    macro_word scratch[SCRATCH_WORDS];
    return nest(frame::WRITE, mac::SET_MODE, &_TEMP, scratch);
  }

  int conclude() const {
    _DATA[0] = _ERRFLG;
    return status();
  }
};

}  // namespace

MACRO_ENTRY(ma_9001_0101, GroupCalibration)
