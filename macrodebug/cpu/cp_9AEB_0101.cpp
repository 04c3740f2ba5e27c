#include "cpu/clock_macros.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AEB_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The first half of a reload: stops the clocks, loads operand registers and start words, clears the clock errors, and
/// ends with the reset.  cp_9AEC_0101 is the second half.
struct ReloadUpToReset : cpu::ClockFrame {
  int run() const {
    macro_word _CKCR1 = 0;
    return ended(read(cpu::READ_CLOCK_CONTROL_1, _CKCR1) && stop_clocks(_CKCR1) && load_operands()
                 && set_up(cpu::MACRO_CLOCK_ERRORS, cpu::CLOCK_ERRORS, cpu::CLEAR_ERRORS) && load_start_words()
                 && step(cpu::MACRO_PULSE, cpu::PULSE_RESET));
  }
};

}  // namespace

MACRO_ENTRY(cp_9AEB_0101, ReloadUpToReset)
