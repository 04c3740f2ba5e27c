#pragma once

#include "cpu/clock_macros.hpp"

namespace cpu {

/// What the clock synthesiser is set to for one ratio of CPU to reference clock.
struct ClockRatioRow {
  macro_word code;          ///< the ratio in _PARA[0] bits 11-15, bit 0 being the most significant: bit 11 is a half
  macro_word synthesis[2];  ///< first two words of the synthesiser's ring
};

inline constexpr ClockRatioRow CLOCK_RATIOS[] = {
    {0x00060000, {0x60296500, 0x32A}}, {0x00160000, {0x68298600, 0x36A}}, {0x00070000, {0x7029A600, 0x3AA}},
    {0x00170000, {0x7829C700, 0x3EA}}, {0x00080000, {0x8029E700, 0x42A}}, {0x00180000, {0x882A0800, 0x46A}},
    {0x00090000, {0x902A2800, 0x4AA}}, {0x00190000, {0x982A4900, 0x4EA}}, {0x000A0000, {0xA02A6900, 0x52A}},
    {0x001A0000, {0xA82A8A00, 0x56A}},
};
inline constexpr macro_word CLOCK_RATIO_CODE = 0x001F0000;

/// Third word of the synthesiser's ring: the reference clock.
inline constexpr macro_word REFERENCE_CLOCK = 0x22A;

/// _PARA[0]: the clock domains to set.
inline constexpr macro_word DOMAINS = 0xC0000000;

/// Puts the first two synthesiser words of a ratio code into `words`; false where there is no such ratio.
[[nodiscard]] inline bool find_clock_ratio(macro_word para, macro_word *words) {
  bool found = false;
  for (const ClockRatioRow &row : CLOCK_RATIOS)
    if (row.code == (para & CLOCK_RATIO_CODE)) {
      words[0] = row.synthesis[0];
      words[1] = row.synthesis[1];
      found = true;  // no return from here: a compiler makes a table of pointers of that, which needs relocation
    }
  return found;
}

/// How the PLL goes over to the new ratio.
enum class Transition {
  PLAIN,          ///< at once
  SOFT,           ///< in small steps
  SOFT_AND_WAIT,  ///< the same, and the macro gives it the time that its status asks for
};

/// Sets the clock ratio through the clock macros.
///
/// _PARA[0] holds the domains and the ratio code, _PARA[1] to _PARA[3] the words of clock control 2, 3 and 1.  An
/// unknown ratio is refused only at the end, with the synthesiser left alone.  The result is -1 on every path.
template <Transition TRANSITION>
struct ClockRatio : ClockFrame {
  static constexpr macro_word POWER_ON = 0x80000000;
  static constexpr macro_word SOFT_START_ON = 0x80000000;
  static constexpr macro_word ALL_CLOCK_CONTROLS = 0xE0000000;
  static constexpr macro_word TURN_CLOCKS_ON = 0x80000000;

  int run() const {
    static_cast<void>(set_ratio());  // the status cell tells
    return frame::STOPPED;
  }

  [[nodiscard]] bool set_ratio() const {
    macro_word _MPARA[2] = {POWER_ON};
    macro_word _MDATA[3] = {};

    if (!call(frame::WRITE, MACRO_PLL_POWER, _MPARA, _DUMMY))
      return false;
    if constexpr (TRANSITION != Transition::PLAIN) {
      _MPARA[0] = SOFT_START_ON;
      if (!call(frame::WRITE, MACRO_SOFT_START, _MPARA, _DUMMY))
        return false;
    }
    if constexpr (TRANSITION == Transition::SOFT_AND_WAIT) {
      macro_word _PLLSR = 0;
      if (!read(READ_PLL_STATUS, _PLLSR))
        return false;
      // Its lowest byte is the time in microseconds that the PLL needs.
      lmcr_wait(lmcr_shift(_PLLSR, 24, 24, 8));
    }

    _MPARA[0] = _PARA[0] & DOMAINS;
    if (!call(frame::NO_DIRECTION, MACRO_SELECT_DOMAINS, _MPARA, _DUMMY))
      return false;
    _MPARA[0] = 0;
    if (!(call(frame::WRITE, MACRO_DISTRIBUTION, _MPARA, _DUMMY)
          && call(frame::NO_DIRECTION, MACRO_START_CLOCKS, _DUMMY, _DUMMY)))
      return false;

    _MPARA[0] = ALL_CLOCK_CONTROLS;
    _MPARA[1] = TURN_CLOCKS_ON;
    _MDATA[0] = _PARA[3];
    _MDATA[1] = _PARA[1];
    _MDATA[2] = _PARA[2];
    if (!call(frame::WRITE, MACRO_CLOCK_CONTROL, _MPARA, _MDATA))
      return false;

    if (!find_clock_ratio(_PARA[0], _MDATA)) {
      refuse(SUB_SELECTOR, _PARA[0]);
      return false;
    }
    _MDATA[2] = REFERENCE_CLOCK;
    return call(frame::WRITE, MACRO_RATIO, _DUMMY, _MDATA);
  }
};

}  // namespace cpu
