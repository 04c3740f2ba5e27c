#include "cpu/clock_registers.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AF1_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Stops the clocks, loads the operand registers from _DATA[0] to _DATA[31], restart control and the start words from
/// _PARA[0] to _PARA[3], and restarts: cp_9AE1_0101 without the clock macros.
struct DirectReload : frame::Frame {
  static constexpr macro_word ALL_BITS = 0xFFFFFFFF;

  /// Changes clock control 1.
  [[nodiscard]] bool change_clock_control(macro_word keep, macro_word set) {
    return read(cpu::READ_CLOCK_CONTROL_1, _WORK0) && write(cpu::CLOCK_CONTROL_1, (_WORK0 & keep) | set);
  }

  [[nodiscard]] bool stop_clocks() {
    return change_clock_control(~cpu::OUTER_GATES, 0) && change_clock_control(~cpu::CLOCK_GATES, 0)
           && change_clock_control(ALL_BITS, cpu::SCAN_CLOCKING) && write(cpu::STOP_CLOCK_A, 0)
           && change_clock_control(~cpu::RUN_A, 0) && write(cpu::STOP_CLOCK_B, 0)
           && change_clock_control(~cpu::RUN_B, 0);
  }

  int run() {
    if (!(stop_clocks() && write(cpu::CORE_MODE, cpu::OPERAND_ACCESS)))
      return frame::STOPPED;
    for (_WORK1 = 0; _WORK1 < cpu::OPERAND_COUNT; ++_WORK1)
      if (!write(cpu::OPERAND_REGISTERS + _WORK1, _DATA[_WORK1]))
        return frame::STOPPED;
    if (!(write(cpu::RESTART_CONTROL, _PARA[0]) && write(cpu::START_WORD_1, _PARA[1])
          && write(cpu::START_WORD_2, _PARA[2]) && write(cpu::START_WORD_3, _PARA[3]) && write(cpu::RESET_PULSE, 0)))
      return frame::STOPPED;
    lmcr_wait(cpu::PULSE_TIME);
    if (!(write(cpu::TRACE_CONTROL_1, 0) && write(cpu::TRACE_CONTROL_2, 0) && write(cpu::ALIGN_CLOCKS, 0)
          && write(cpu::RESTART_PULSE, 0)))
      return frame::STOPPED;
    lmcr_wait(cpu::PULSE_TIME);
    return frame::DONE;
  }
};

}  // namespace

MACRO_ENTRY(cp_9AF1_0101, DirectReload)
