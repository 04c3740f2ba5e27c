#include "cpu/clock_macros.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AE1_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Stops the clocks, loads the operand registers from _DATA[0] to _DATA[31] and the start words from _PARA, and
/// restarts the clocks that ran.
struct Reload : cpu::ClockFrame {
  static constexpr macro_word RESTART_OPTIONS = 0x3FFFFFFF;

  int run() const {
    macro_word _CKCR1 = 0;
    if (!(read(cpu::READ_CLOCK_CONTROL_1, _CKCR1) && stop_clocks(_CKCR1) && load_operands()))
      return frame::STOPPED;

    // Bits 31 and 30 are the domains to restart, B and A: those whose run bits stood in bits 29 and 28 of clock
    // control 1.
    const macro_word restart = lmcr_shift(_CKCR1, 2, 0, 2) | (_PARA[0] & RESTART_OPTIONS);
    return ended(write(cpu::RESTART_CONTROL, restart) && load_start_words() && step(cpu::MACRO_PULSE, cpu::PULSE_RESET)
                 && align_clocks() && step(cpu::MACRO_PULSE, cpu::PULSE_RESTART));
  }
};

}  // namespace

MACRO_ENTRY(cp_9AE1_0101, Reload)
