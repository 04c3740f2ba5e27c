#pragma once

#include "frame/frame.hpp"

namespace cpu {

// JTAG instructions of the clock generator.  A register that can be read has its read instruction 16 above its write
// instruction.
inline constexpr macro_word CLOCK_CONTROL_1 = 0xD1;
inline constexpr macro_word CLOCK_CONTROL_2 = 0xD2;
inline constexpr macro_word CLOCK_CONTROL_3 = 0xD3;
inline constexpr macro_word READ_CLOCK_CONTROL_1 = 0xE1;
inline constexpr macro_word PLL_CONTROL = 0xD4;
inline constexpr macro_word READ_PLL_STATUS = 0xE4;
inline constexpr macro_word RESTART_CONTROL = 0xD5;
inline constexpr macro_word RESET_PULSE = 0xD8;
inline constexpr macro_word RESTART_PULSE = 0xD9;
inline constexpr macro_word START_CLOCKS = 0xF0;
inline constexpr macro_word STOP_CLOCK_A = 0xF1;
inline constexpr macro_word STOP_CLOCK_B = 0xF2;
inline constexpr macro_word ALIGN_CLOCKS = 0xF6;

// JTAG instructions that write the core's set-up registers.
inline constexpr macro_word CORE_MODE = 0x01;
inline constexpr macro_word CORE_GO = 0x08;
inline constexpr macro_word DEBUG_CONTROL = 0x0B;
inline constexpr macro_word ERROR_STATUS_1 = 0x13;
inline constexpr macro_word ERROR_MASK = 0x15;
inline constexpr macro_word TRACE_CONTROL_1 = 0x17;
inline constexpr macro_word TRACE_CONTROL_2 = 0x19;
inline constexpr macro_word CLOCK_ERRORS = 0x1B;
inline constexpr macro_word ERROR_STATUS_2 = 0x23;
inline constexpr macro_word DEBUG_STOP = 0x2F;
inline constexpr macro_word START_WORD_1 = 0x34;
inline constexpr macro_word START_WORD_2 = 0x35;
inline constexpr macro_word START_WORD_3 = 0x36;

/// The operand registers: 32 registers behind consecutive write instructions.
inline constexpr macro_word OPERAND_REGISTERS = 0x40;
inline constexpr macro_word OPERAND_COUNT = 32;

// Fields of clock control 1.
inline constexpr macro_word RUN_A = 0x10000000;
inline constexpr macro_word RUN_B = 0x20000000;
inline constexpr macro_word CLOCK_GATES = 0x00F00000;
inline constexpr macro_word OUTER_GATES = 0x00A00000;
inline constexpr macro_word SCAN_CLOCKING = 0x000C0000;

/// Both domains running, all gates open.
inline constexpr macro_word CLOCKS_ON = RUN_A | RUN_B | CLOCK_GATES;

/// Core mode: the core stands still and its operand registers are open to JTAG.
inline constexpr macro_word OPERAND_ACCESS = 0xC0000000;

/// Error registers are cleared by writing ones.
inline constexpr macro_word CLEAR_ERRORS = 0xFFFFFFFF;

/// _PARA[0] of the macros that start the core: leave it standing.
inline constexpr macro_word LEAVE_CORE_HELD = 0x80000000;

/// Time in microseconds that a reset or restart pulse takes.
inline constexpr macro_word PULSE_TIME = 10;

}  // namespace cpu
