#pragma once

#include <span>

#include "machines/simulated/chip.hpp"

/// The CPU chip's clock generator: registers, PLL and two clock domains.  docs/clock.md describes it.
namespace simulated::clock {

inline constexpr std::string_view ANY_WORD = "acts when written, whatever the word";

inline constexpr JtagRegister CONTROL_1{.name = "clock control 1",
                                        .read = 0xE1,
                                        .write = 0xD1,
                                        .reset = 0x30F00000,
                                        .note = "bits 2-3: domains B, A may run; bits 8-11: gates"};
inline constexpr JtagRegister CONTROL_2{.name = "clock control 2", .read = 0xE2, .write = 0xD2, .reset = 0};
inline constexpr JtagRegister CONTROL_3{.name = "clock control 3", .read = 0xE3, .write = 0xD3, .reset = 0};
inline constexpr JtagRegister PLL_CONTROL{.name = "pll control", .write = 0xD4, .reset = 0};
inline constexpr JtagRegister PLL_STATUS{.name = "pll status", .read = 0xE4, .reset = 0};
inline constexpr JtagRegister RESTART_CONTROL{
    .name = "restart control", .read = 0xE5, .write = 0xD5, .reset = 0, .note = "bits 0-1: domains B, A to restart"};
inline constexpr JtagRegister SOFT_START{
    .name = "pll soft start", .read = 0xE6, .write = 0xD6, .mask = 0x80000000, .reset = 0};
inline constexpr JtagRegister RESET_PULSE{.name = "reset pulse", .write = 0xD8, .mask = 0, .note = ANY_WORD};
inline constexpr JtagRegister RESTART_PULSE{.name = "restart pulse", .write = 0xD9, .mask = 0, .note = ANY_WORD};
inline constexpr JtagRegister START_CLOCKS{.name = "start clocks", .write = 0xF0, .mask = 0, .note = ANY_WORD};
inline constexpr JtagRegister STOP_CLOCKS{
    .name = "stop clock A, B", .write = 0xF1, .count = 2, .mask = 0, .note = ANY_WORD};
inline constexpr JtagRegister ALIGN_CLOCKS{.name = "align clocks", .write = 0xF6, .mask = 0, .note = ANY_WORD};
inline constexpr JtagRegister CORE_GO{.name = "core go", .write = 0x08, .note = "any write lets the core go"};

// Set-up registers of the core.
inline constexpr JtagRegister CORE_MODE{.name = "core mode", .write = 0x01};
inline constexpr JtagRegister DEBUG_CONTROL{.name = "debug control", .write = 0x0B};
inline constexpr JtagRegister ERROR_STATUS_1{.name = "error status 1", .write = 0x13};
inline constexpr JtagRegister ERROR_MASK{.name = "error mask", .write = 0x15};
inline constexpr JtagRegister TRACE_CONTROL_1{.name = "trace control 1", .write = 0x17};
inline constexpr JtagRegister TRACE_CONTROL_2{.name = "trace control 2", .write = 0x19};
inline constexpr JtagRegister CLOCK_ERRORS{.name = "clock errors", .write = 0x1B};
inline constexpr JtagRegister ERROR_STATUS_2{.name = "error status 2", .write = 0x23};
inline constexpr JtagRegister DEBUG_STOP{.name = "debug stop", .write = 0x2F};
inline constexpr JtagRegister START_WORDS{.name = "start words", .write = 0x34, .count = 3};

inline constexpr unsigned FIRST_OPERAND_READ = 0x60;
inline constexpr unsigned FIRST_OPERAND_WRITE = 0x40;
inline constexpr unsigned OPERANDS = 32;

// Clock control 1, and the latches that hold a domain or the core.
inline constexpr macro_word DOMAIN_B = 0x20000000;
inline constexpr macro_word DOMAIN_A = 0x10000000;
inline constexpr macro_word CORE = 0x08000000;
inline constexpr macro_word GATES = 0x00F00000;
inline constexpr macro_word OUTER_GATES = 0x00A00000;
inline constexpr macro_word SCANNING = 0x000C0000;

// PLL control.
inline constexpr macro_word PLL_POWERED = 0x80;
inline constexpr macro_word PLL_OUT_OF_RESET = 0x10;
inline constexpr macro_word CONNECT_A = 0x80000000;
inline constexpr macro_word CONNECT_B = 0x08000000;
inline constexpr macro_word COUPLE = 0x01000000;  ///< needed when, and only when, both domains are connected

inline constexpr unsigned SYNTHESIS_RING = 0x56;
inline constexpr std::size_t SYNTHESIS_WORDS = 3;
inline constexpr unsigned DISTRIBUTION_RING = 0xAA;

/// All registers, the set-up and operand registers with them.
[[nodiscard]] std::span<const JtagRegister> registers();

class Generator {
 public:
  Generator() = default;
  /// @param state of the chip, with the registers declared.
  explicit Generator(State &state);

  // The chip's hooks, told every JTAG instruction.
  void before_read(State &state, unsigned code) const;
  /// An instruction was issued, with a word or without.
  void issued(State &state, unsigned code) const;

 private:
  [[nodiscard]] macro_word pll_status(State &state) const;
  [[nodiscard]] macro_word ratio(State &state) const;
  [[nodiscard]] bool distribution_clear(State &state) const;

  State::Id control_ = 0;
  State::Id pll_control_ = 0;
  State::Id pll_status_ = 0;
  State::Id soft_start_ = 0;
  State::Id restart_control_ = 0;
  State::Id halted_ = 0;
  std::optional<State::Id> synthesis_ring_;
  std::optional<State::Id> distribution_ring_;
};

}  // namespace simulated::clock
