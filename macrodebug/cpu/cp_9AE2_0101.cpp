#include "cpu/clock_macros.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AE2_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Resets the core, clears its errors and, unless _PARA[0] has its highest bit set, lets it go.
struct ResetCore : cpu::ClockFrame {
  int run() const {
    return ended(step(cpu::MACRO_PULSE, cpu::PULSE_RESET) && step(cpu::MACRO_DEBUG_STOP)
                 && set_up(cpu::MACRO_CORE_MODE, cpu::CORE_MODE, cpu::OPERAND_ACCESS)
                 && set_up(cpu::MACRO_CLOCK_ERRORS, cpu::CLOCK_ERRORS, cpu::CLEAR_ERRORS) && clear_errors()
                 && set_up(cpu::MACRO_ERRORS_2, cpu::ERROR_STATUS_2, cpu::CLEAR_ERRORS)
                 && step(cpu::MACRO_END_DEBUG, _PARA[0] & cpu::LEAVE_CORE_HELD));
  }
};

}  // namespace

MACRO_ENTRY(cp_9AE2_0101, ResetCore)
