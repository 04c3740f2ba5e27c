#pragma once

#include "cpu/clock_registers.hpp"

/// The clock macros that the machine offers, 0x1A00 to 0x1A73: what each is told, docs/clock.md says.
namespace cpu {

inline constexpr macro_word MACRO_START_CLOCKS = 0x1A00;
inline constexpr macro_word MACRO_STOP_CLOCK_A = 0x1A01;
inline constexpr macro_word MACRO_STOP_CLOCK_B = 0x1A02;
inline constexpr macro_word MACRO_ALIGN_CLOCKS = 0x1A06;
inline constexpr macro_word MACRO_END_RUN_A = 0x1A11;
inline constexpr macro_word MACRO_END_RUN_B = 0x1A12;
inline constexpr macro_word MACRO_PULSE = 0x1A13;
inline constexpr macro_word MACRO_RATIO = 0x1A14;
inline constexpr macro_word MACRO_CLOCK_CONTROL = 0x1A15;
inline constexpr macro_word MACRO_PLL_POWER = 0x1A20;
inline constexpr macro_word MACRO_CLOSE_GATES = 0x1A21;
inline constexpr macro_word MACRO_END_DEBUG = 0x1A31;
inline constexpr macro_word MACRO_OPERANDS = 0x1A34;
inline constexpr macro_word MACRO_ERRORS_1 = 0x1A35;
inline constexpr macro_word MACRO_CLOCK_ERRORS = 0x1A36;
inline constexpr macro_word MACRO_TRACE_CONTROL = 0x1A37;
inline constexpr macro_word MACRO_CORE_GO = 0x1A39;
inline constexpr macro_word MACRO_ERRORS_2 = 0x1A3A;
inline constexpr macro_word MACRO_CORE_MODE = 0x1A3C;
inline constexpr macro_word MACRO_DISTRIBUTION = 0x1A3E;
inline constexpr macro_word MACRO_START_WORDS = 0x1A40;
inline constexpr macro_word MACRO_SELECT_DOMAINS = 0x1A50;
inline constexpr macro_word MACRO_SOFT_START = 0x1A62;
inline constexpr macro_word MACRO_DEBUG_STOP = 0x1A73;

/// _PARA[0] of MACRO_PULSE.
inline constexpr macro_word PULSE_RESET = 0x80000000;
inline constexpr macro_word PULSE_RESTART = 0x40000000;

/// What a body does through several of these macros.
struct ClockFrame : frame::Frame {
  /// A macro without direction that takes nothing.
  [[nodiscard]] bool step(macro_word number) const { return call(frame::NO_DIRECTION, number, _DUMMY, _DUMMY); }

  /// A macro without direction that takes one parameter word.
  [[nodiscard]] bool step(macro_word number, macro_word para) const {
    const macro_word _MPARA[1] = {para};
    return call(frame::NO_DIRECTION, number, _MPARA, _DUMMY);
  }

  /// Writes a set-up register of the core.
  /// @param number the macro that looks after the register.  @param code its JTAG write instruction.
  [[nodiscard]] bool set_up(macro_word number, macro_word code, macro_word word) const {
    const macro_word _MPARA[1] = {code};
    macro_word _MDATA[1] = {word};
    return call(frame::WRITE, number, _MPARA, _MDATA);
  }

  /// Closes the gates that stand open and stops both clocks, A before B.
  /// @param _CKCR1 clock control 1 as it was read before.
  [[nodiscard]] bool stop_clocks(macro_word _CKCR1) const {
    return step(MACRO_CLOSE_GATES, _CKCR1 & CLOCK_GATES) && step(MACRO_STOP_CLOCK_A) && step(MACRO_END_RUN_A)
           && step(MACRO_STOP_CLOCK_B) && step(MACRO_END_RUN_B);
  }

  /// Loads all operand registers from _DATA.
  [[nodiscard]] bool load_operands() const {
    const macro_word _MPARA[1] = {OPERAND_COUNT << 16};
    return call(frame::WRITE, MACRO_OPERANDS, _MPARA, _DATA);
  }

  /// Hands on the three words that the core starts from.
  [[nodiscard]] bool load_start_words() const {
    const macro_word _MPARA[3] = {_PARA[1], _PARA[2], _PARA[3]};
    return call(frame::NO_DIRECTION, MACRO_START_WORDS, _MPARA, _DUMMY);
  }

  /// Ends tracing and brings the clocks into phase.
  [[nodiscard]] bool align_clocks() const {
    return set_up(MACRO_TRACE_CONTROL, TRACE_CONTROL_1, 0) && set_up(MACRO_TRACE_CONTROL, TRACE_CONTROL_2, 0)
           && step(MACRO_ALIGN_CLOCKS);
  }

  /// Takes the error mask away and clears the first error register.
  [[nodiscard]] bool clear_errors() const {
    return set_up(MACRO_ERRORS_1, ERROR_MASK, 0) && set_up(MACRO_ERRORS_1, ERROR_STATUS_1, CLEAR_ERRORS);
  }
};

}  // namespace cpu
