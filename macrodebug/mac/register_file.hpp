#pragma once

#include "frame/frame.hpp"

/// The memory access controller's register file, and what the calibration macros share.
///
/// The controller drives two DIMM groups.  A configuration word describes a group: its upper half word one DIMM of the
/// group, its lower half word the other, each with bits for "fitted", the terminations and the second rank.
namespace mac {

/// Registers of a DIMM group.
struct Group {
  macro_word selector;  ///< in _PARA[0]
  macro_word configuration;
  macro_word mode;       ///< register A
  macro_word driver;     ///< register B
  macro_word impedance;  ///< register C
  macro_word completion;
  int result;  ///< index of the group's result word in _DATA
};
inline constexpr macro_word GROUP_1 = 0x1;
inline constexpr macro_word GROUP_2 = 0x2;
inline constexpr Group GROUPS[] = {
    {GROUP_1, 32, 34, 35, 38, 108, 1},
    {GROUP_2, 33, 36, 37, 39, 109, 2},
};

/// Zero where the board has no adjustable drivers.
inline constexpr macro_word OPTION_REGISTER = 1;

// Fields of _PARA[0].
inline constexpr macro_word GROUP_FIELD = 0x3;
inline constexpr macro_word DELAY_FIELD = 0x7000;
inline constexpr macro_word LONGEST_DELAY = 0x4000;

// The verdict in _DATA[0].
inline constexpr macro_word COMPLETE = 0x80000000;
inline constexpr macro_word FINDING = 0x40000000;
inline constexpr macro_word VERDICT = COMPLETE | FINDING;

// Macros called by number: with a plural name for the selected groups in turn, with a singular name for one group.
inline constexpr macro_word CALIBRATE_GROUP = 0x9001;
inline constexpr macro_word SEARCH_IMPEDANCES = 0x9002;
inline constexpr macro_word SEARCH_IMPEDANCE = 0x9003;
inline constexpr macro_word SET_MODE = 0x9004;
inline constexpr macro_word ADJUST_DRIVERS = 0x9006;
inline constexpr macro_word ADJUST_DRIVER = 0x9007;
inline constexpr macro_word POLL_COMPLETIONS = 0x9008;
inline constexpr macro_word POLL_COMPLETION = 0x9009;

// A configuration word.
inline constexpr macro_word BOTH_TERMINATED = 0x60006000;
inline constexpr macro_word UPPER_TERMINATED = 0x60000000;

/// Whether a selector names exactly one group.
[[nodiscard]] constexpr bool names_one_group(macro_word selector) {
  return (selector & GROUP_FIELD) == GROUP_1 || (selector & GROUP_FIELD) == GROUP_2;
}

/// The group that a selector names; one that names a single group.
[[nodiscard]] constexpr const Group &group_of(macro_word selector) {
  return GROUPS[(selector & GROUP_1) != 0 ? 0 : 1];
}

[[nodiscard]] constexpr bool both_terminated(macro_word configuration) {
  return (configuration & BOTH_TERMINATED) == BOTH_TERMINATED;
}

/// The delay code 0, 8, 16, 24 or 32 that _PARA[0] asks for.
[[nodiscard]] constexpr macro_word delay_code(macro_word para) {
  return (para & DELAY_FIELD) >> 9;
}

/// The driver control word that the others of a rank rest on: delay code and termination.
[[nodiscard]] constexpr macro_word driver_word(macro_word delay, macro_word configuration) {
  const macro_word word = delay | 0x10000;
  if (both_terminated(configuration))
    return word | 4;
  return (configuration & UPPER_TERMINATED) == UPPER_TERMINATED ? word | 64 : word;
}

/// Accessors of the register file.
struct RegisterFile : frame::Frame {
  /// Result of macros that go through to their end without an explicit one.
  static constexpr int FELL_THROUGH = -1;

  /// Reads a register.  @param port port bit of the instance, MACRO_ALL where there is one only.
  [[nodiscard]] bool get(macro_word number, macro_word &into, macro_word port = MACRO_ALL) const {
    macro_word word = 0;
    if (!transfer(frame::READ, port, number, word))
      return false;
    into = word;
    return true;
  }

  /// Writes a register.
  [[nodiscard]] bool put(macro_word number, macro_word word) const {
    return transfer(frame::WRITE, MACRO_ALL, number, word);
  }

  /// Runs another macro and goes on only when it left the status cell at 0: status() is the result otherwise.
  [[nodiscard]] bool nest(macro_word rw, macro_word number, const macro_word *para, macro_word *data) const {
    return call(rw, number, para, data) && _RETURN == 0;
  }

  /// The status cell as a result.
  [[nodiscard]] static int status() { return static_cast<int>(_RETURN); }

  /// Whether the macro called last reported a finding.
  [[nodiscard]] bool found() const { return (_DATA[0] & FINDING) != 0; }

  /// Puts verdict and result words to their start values.
  void clear_results() const {
    _DATA[0] = 0;
    _DATA[1] = 0;
    _DATA[2] = 0;
  }

  /// Refuses _PARA[0].
  [[nodiscard]] int refuse_selector() const {
    refuse(SUB_SELECTOR, _PARA[0]);
    return frame::STOPPED;
  }

 private:
  [[nodiscard]] bool transfer(macro_word direction, macro_word port, macro_word number, macro_word &word) const {
    constexpr macro_word WORD_BYTES = 4;
    lmcr_i2cctl(direction, MACRO_ALL, MACRO_ALL, port, number, &word, WORD_BYTES, frame::I2C_REGISTER, &_RETURN, _ERR,
                _UNIT_TYPE, _UNIT_NO, _MRING);
    return running();
  }
};

}  // namespace mac
