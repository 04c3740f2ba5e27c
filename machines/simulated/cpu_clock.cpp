#include "machines/simulated/cpu_clock.hpp"

#include <array>

namespace simulated::clock {
namespace {

constexpr JtagRegister REGISTERS[] = {
    CONTROL_1,
    CONTROL_2,
    CONTROL_3,
    PLL_CONTROL,
    PLL_STATUS,
    RESTART_CONTROL,
    SOFT_START,
    RESET_PULSE,
    RESTART_PULSE,
    START_CLOCKS,
    STOP_CLOCKS,
    ALIGN_CLOCKS,
    CORE_GO,
    CORE_MODE,
    DEBUG_CONTROL,
    ERROR_STATUS_1,
    ERROR_MASK,
    TRACE_CONTROL_1,
    TRACE_CONTROL_2,
    CLOCK_ERRORS,
    ERROR_STATUS_2,
    DEBUG_STOP,
    START_WORDS,
    // Of the 32 operand registers, numbers 1 and 30 are the control registers A and B.
    {.name = "operand 0", .read = 0x60, .write = 0x40},
    {.name = "operand 2-29", .read = 0x62, .write = 0x42, .count = 28},
    {.name = "operand 31", .read = 0x7F, .write = 0x5F},
};

// PLL status.
constexpr macro_word A_LOCKED = 0x80000000;
constexpr macro_word B_LOCKED = 0x40000000;
constexpr macro_word SETTLE_TIME = 10;        ///< microseconds
constexpr macro_word SOFT_SETTLE_TIME = 100;  ///< the same with the soft start on

/// The word of a frequency divider: the ratio in units of 1/128, and a fixed offset.
constexpr macro_word divider(macro_word sixteenths) {
  return sixteenths * 8 + 0x2A;
}

/// The loop filter that a ratio needs: it grows by 65 with each whole step, and is rounded up.
constexpr macro_word loop_filter(macro_word sixteenths) {
  return 0x27DF + (65 * sixteenths + 15) / 16;
}

constexpr macro_word LEAST_RATIO = 6 * 16;
constexpr macro_word GREATEST_RATIO = 10 * 16 + 8;
constexpr macro_word RATIO_STEP = 8;
constexpr macro_word REFERENCE = 4 * 16;

}  // namespace

std::span<const JtagRegister> registers() {
  return REGISTERS;
}

Generator::Generator(State &state) {
  const auto register_named = [&state](const JtagRegister &row) {
    return state.find("register " + std::string{row.name}).value();
  };
  control_ = register_named(CONTROL_1);
  pll_control_ = register_named(PLL_CONTROL);
  pll_status_ = register_named(PLL_STATUS);
  soft_start_ = register_named(SOFT_START);
  restart_control_ = register_named(RESTART_CONTROL);
  Layout latches = register_layout("clocks halted", 1, "bits 2-4: domains B, A and the core");
  latches.mask = DOMAIN_A | DOMAIN_B | CORE;
  latches.reset = 0;
  halted_ = state.add(std::move(latches));
  synthesis_ring_ = state.find("ring " + std::to_string(SYNTHESIS_RING));
  distribution_ring_ = state.find("ring " + std::to_string(DISTRIBUTION_RING));
}

void Generator::before_read(State &state, unsigned code) const {
  if (code == PLL_STATUS.read)
    state.write(pll_status_, 0, pll_status(state));
}

void Generator::issued(State &state, unsigned code) const {
  const macro_word halted = state.read(halted_, 0);
  switch (code) {
    case START_CLOCKS.write:
      state.write(halted_, 0, halted & ~(DOMAIN_A | DOMAIN_B));
      break;
    case STOP_CLOCKS.write:
      state.write(halted_, 0, halted | DOMAIN_A);
      break;
    case STOP_CLOCKS.write + 1:
      state.write(halted_, 0, halted | DOMAIN_B);
      break;
    case RESET_PULSE.write:
      state.write(halted_, 0, halted | CORE);
      break;
    case RESTART_PULSE.write: {
      const macro_word domains = state.read(restart_control_, 0) >> 2 & (DOMAIN_A | DOMAIN_B);
      state.write(control_, 0, state.read(control_, 0) | domains);
      state.write(halted_, 0, halted & ~(domains | CORE));
      break;
    }
    case CORE_GO.write:
      state.write(halted_, 0, halted & ~CORE);
      break;
    default:
      break;
  }
}

macro_word Generator::pll_status(State &state) const {
  const macro_word pll = state.read(pll_control_, 0);
  const macro_word control = state.read(control_, 0);
  const macro_word halted = (~control & (DOMAIN_A | DOMAIN_B)) | state.read(halted_, 0);
  const bool a = (pll & CONNECT_A) != 0;
  const bool b = (pll & CONNECT_B) != 0;
  const bool on = (pll & PLL_POWERED) != 0 && (pll & PLL_OUT_OF_RESET) != 0 && ((pll & COUPLE) != 0) == (a && b)
                  && (control & GATES) == GATES && distribution_clear(state);
  const macro_word sixteenths = on ? ratio(state) : 0;

  macro_word status = halted | sixteenths << 16;
  if (sixteenths != 0 && a && (halted & DOMAIN_A) == 0)
    status |= A_LOCKED;
  if (sixteenths != 0 && b && (halted & DOMAIN_B) == 0)
    status |= B_LOCKED;
  return status | (state.read(soft_start_, 0) != 0 ? SOFT_SETTLE_TIME : SETTLE_TIME);
}

/// The ratio that the synthesiser is set to, in sixteenths; 0 where its words do not fit each other.
macro_word Generator::ratio(State &state) const {
  if (!synthesis_ring_ || state.cells()[*synthesis_ring_].size() < SYNTHESIS_WORDS)
    return 0;
  std::array<macro_word, SYNTHESIS_WORDS> words{};
  for (std::size_t i = 0; i < words.size(); ++i)
    words[i] = state.read(*synthesis_ring_, i);
  const macro_word sixteenths = words[0] >> 24;
  const bool possible = sixteenths >= LEAST_RATIO && sixteenths <= GREATEST_RATIO && sixteenths % RATIO_STEP == 0;
  const bool fits = words[0] == (sixteenths << 24 | loop_filter(sixteenths) << 8) && words[1] == divider(sixteenths)
                    && words[2] == divider(REFERENCE);
  return possible && fits ? sixteenths : 0;
}

/// Whether no tap of the clock distribution delays its clock.
bool Generator::distribution_clear(State &state) const {
  if (!distribution_ring_)
    return false;
  for (std::size_t i = 0; i < state.cells()[*distribution_ring_].size(); ++i)
    if (state.read(*distribution_ring_, i) != 0)
      return false;
  return true;
}

}  // namespace simulated::clock
