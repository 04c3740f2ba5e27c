#include "cpu/clock_registers.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AF2_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Resets the core, clears its errors and, unless _PARA[0] has its highest bit set, lets it go: cp_9AE2_0101 without
/// the clock macros.  The result is -1 on every path.
struct DirectResetCore : frame::Frame {
  int run() const {
    static_cast<void>(reset_core());  // the status cell tells
    return frame::STOPPED;
  }

  [[nodiscard]] bool reset_core() const {
    if (!write(cpu::RESET_PULSE, 0))
      return false;
    lmcr_wait(cpu::PULSE_TIME);
    return write(cpu::DEBUG_STOP, 0) && write(cpu::CORE_MODE, cpu::OPERAND_ACCESS)
           && write(cpu::CLOCK_ERRORS, cpu::CLEAR_ERRORS) && write(cpu::ERROR_MASK, 0)
           && write(cpu::ERROR_STATUS_1, cpu::CLEAR_ERRORS) && write(cpu::ERROR_STATUS_2, cpu::CLEAR_ERRORS)
           && write(cpu::DEBUG_CONTROL, 0) && ((_PARA[0] & cpu::LEAVE_CORE_HELD) != 0 || write(cpu::CORE_GO, 0));
  }
};

}  // namespace

MACRO_ENTRY(cp_9AF2_0101, DirectResetCore)
