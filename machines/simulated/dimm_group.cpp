#include "machines/simulated/dimm_group.hpp"

#include <fmt/format.h>

namespace simulated {
namespace {

// Mode register: the levels of the two strobe lines of the rank that drives them.
constexpr macro_word LEVEL_P = 0x00800000;
constexpr macro_word LEVEL_N = 0x00400000;
constexpr macro_word LEVELS_VALID = 0x00200000;
constexpr macro_word LEVELS = LEVEL_P | LEVEL_N | LEVELS_VALID;

// Driver control register: a mode register set command to the DIMMs.  To one rank it goes with bit 30, else to all.
constexpr macro_word COMMAND = 0xC0070000;
constexpr macro_word EXTENDED_MODE_OF_RANK = 0xC0010000;
constexpr unsigned RANK_PLACE = 28;
constexpr macro_word LOW_REFERENCE = 0x00080000;  ///< levels are compared with the lower reference
// The driver program, in bits 7 to 9 of the command.
constexpr macro_word PROGRAM = 0x380;
constexpr macro_word DRIVE_HIGH = 0x080;
constexpr macro_word DRIVE_LOW = 0x100;
constexpr macro_word ADJUST = 0x200;
constexpr macro_word DEFAULTS = 0x380;
// Step orders, a field of four bits for each line: two for its pull-up, two for its pull-down driver.
constexpr unsigned ORDERS_P = 24;
constexpr unsigned ORDERS_N = 20;
constexpr macro_word STRONGER = 1;
constexpr macro_word WEAKER = 2;

constexpr macro_word STRONGEST = 15;
constexpr macro_word USUAL_STRENGTH = 8;

// Impedance register.
constexpr unsigned PULL_UP_PLACE = 28;
constexpr unsigned PULL_DOWN_PLACE = 24;
constexpr macro_word CODE = 0xF;
constexpr macro_word COMPARE_PULL_UP = 0x00780000;    ///< comparator on, its supply, codes applied, upper driver
constexpr macro_word COMPARE_PULL_DOWN = 0x005C0000;  ///< the same, lower driver
constexpr macro_word COMPARE = COMPARE_PULL_UP | COMPARE_PULL_DOWN;
constexpr macro_word HIGH = 0x8000;
constexpr macro_word VALID = 0x4000;
constexpr macro_word COMPARATOR = HIGH | VALID;

// Completion register.
constexpr macro_word STOP = 0x10004000;
constexpr macro_word START = 0x08008000;
constexpr macro_word ENDED = 0x40;
constexpr unsigned ERROR_PLACE = 2;
constexpr macro_word ERRORS = 0xC;
constexpr macro_word FLAGS = ENDED | ERRORS;

void set_time(State &state, State::Id id, std::uint64_t time) {
  state.write(id, 0, static_cast<macro_word>(time >> 32));
  state.write(id, 1, static_cast<macro_word>(time));
}

std::uint64_t time_of(State &state, State::Id id) {
  const std::uint64_t high = state.read(id, 0);
  return high << 32 | state.read(id, 1);
}

}  // namespace

DimmGroup::DimmGroup(State &state, unsigned number, const Registers &registers, const DimmElectrics &electrics)
    : registers_{registers}, electrics_{electrics} {
  const auto add = [&](std::string_view name, std::size_t entries, macro_word mask, macro_word reset,
                       std::string_view note) {
    Layout layout = register_layout(fmt::format("group {} {}", number, name), entries, note);
    layout.mask = mask;
    layout.reset = reset;
    return state.add(std::move(layout));
  };
  strengths_ = add("driver strengths", std::size_t{4} * DRIVERS, STRONGEST, USUAL_STRENGTH,
                   "of ranks 0-3: pull-up of P and N, pull-down of P and N");
  command_ = add("driver program", 1, MACRO_ALL, 0, "the last driver command");
  comparison_ = add("comparison", 1, COMPARATOR, 0, "what the comparator found last");
  running_ = add("running", 1, 1, 0, "whether the final run goes on");
  flags_ = add("run flags", 1, FLAGS, 0, "how it ended");
  drive_start_ = add("drive start", 2, MACRO_ALL, 0, "when the lines were driven");
  run_start_ = add("run start", 2, MACRO_ALL, 0, "when the final run was started");
}

void DimmGroup::mode_written(State &state) const {
  state.write(registers_.mode, 0, state.read(registers_.mode, 0) & ~LEVELS);
}

void DimmGroup::before_mode_read(State &state, std::uint64_t now) const {
  state.write(registers_.mode, 0, (state.read(registers_.mode, 0) & ~LEVELS) | levels(state, now));
}

/// The level bits: a line is driven to its proper level when the driver is strong enough.
macro_word DimmGroup::levels(State &state, std::uint64_t now) const {
  const macro_word command = state.read(command_, 0);
  const macro_word program = command & PROGRAM;
  const bool low = program == DRIVE_LOW;
  if ((program != DRIVE_HIGH && !low) || low != ((command & LOW_REFERENCE) != 0)
      || now - time_of(state, drive_start_) < electrics_.settling_time)
    return 0;
  const unsigned rank = command >> RANK_PLACE & 3;
  const DimmElectrics::Steps &steps = electrics_.steps;
  const bool strong_p = strength(state, rank, low ? DOWN_P : UP_P) >= (low ? steps.down_p : steps.up_p);
  const bool strong_n = strength(state, rank, low ? DOWN_N : UP_N) >= (low ? steps.down_n : steps.up_n);
  return LEVELS_VALID | (strong_p != low ? LEVEL_P : 0) | (strong_n != low ? LEVEL_N : 0);
}

void DimmGroup::driver_written(State &state, std::uint64_t now) const {
  const macro_word command = state.read(registers_.driver, 0);
  if ((command & COMMAND) != EXTENDED_MODE_OF_RANK)
    return;
  const bool was_neutral = (state.read(command_, 0) & PROGRAM) == 0;
  state.write(command_, 0, command);
  const unsigned rank = command >> RANK_PLACE & 3;
  switch (command & PROGRAM) {
    case DRIVE_HIGH:
    case DRIVE_LOW:
      set_time(state, drive_start_, now);
      break;
    case ADJUST:
      // The DIMMs leave one program before they take orders of the next.
      if (!was_neutral)
        break;
      step(state, rank, UP_P, command >> ORDERS_P);
      step(state, rank, DOWN_P, command >> (ORDERS_P + 2));
      step(state, rank, UP_N, command >> ORDERS_N);
      step(state, rank, DOWN_N, command >> (ORDERS_N + 2));
      break;
    case DEFAULTS:
      for (unsigned driver = 0; driver < DRIVERS; ++driver)
        state.write(strengths_, std::size_t{rank} * DRIVERS + driver, USUAL_STRENGTH);
      break;
    default:
      break;
  }
}

macro_word DimmGroup::strength(State &state, unsigned rank, Driver driver) const {
  return state.read(strengths_, std::size_t{rank} * DRIVERS + driver);
}

/// @param orders STRONGER, WEAKER, or neither, in the lowest two bits.
void DimmGroup::step(State &state, unsigned rank, Driver driver, macro_word orders) const {
  macro_word now = strength(state, rank, driver);
  if ((orders & (STRONGER | WEAKER)) == STRONGER && now < STRONGEST)
    ++now;
  else if ((orders & (STRONGER | WEAKER)) == WEAKER && now > 0)
    --now;
  state.write(strengths_, std::size_t{rank} * DRIVERS + driver, now);
}

void DimmGroup::impedance_written(State &state) const {
  state.write(registers_.impedance, 0, state.read(registers_.impedance, 0) & ~COMPARATOR);
  state.write(comparison_, 0, 0);
}

/// A read shows the comparison that the read before it has started.
void DimmGroup::before_impedance_read(State &state) const {
  const macro_word shown = state.read(comparison_, 0);
  state.write(comparison_, 0, comparison(state));
  state.write(registers_.impedance, 0, (state.read(registers_.impedance, 0) & ~COMPARATOR) | shown);
}

macro_word DimmGroup::comparison(State &state) const {
  const macro_word word = state.read(registers_.impedance, 0);
  switch (word & COMPARE) {
    case COMPARE_PULL_UP:
      if ((electrics_.comparators & 1) != 0)
        return VALID | ((word >> PULL_UP_PLACE & CODE) <= electrics_.pull_up_code ? HIGH : 0);
      return 0;
    case COMPARE_PULL_DOWN:
      if ((electrics_.comparators & 2) != 0)
        return VALID | ((word >> PULL_DOWN_PLACE & CODE) < electrics_.pull_down_code ? HIGH : 0);
      return 0;
    default:
      return 0;
  }
}

/// Flags are cleared by writing ones to them.
void DimmGroup::completion_written(State &state, std::uint64_t now) const {
  const macro_word word = state.read(registers_.completion, 0);
  state.write(flags_, 0, state.read(flags_, 0) & ~word);
  if ((word & STOP) == STOP) {
    state.write(running_, 0, 0);
  } else if ((word & START) == START) {
    state.write(running_, 0, 1);
    set_time(state, run_start_, now);
  }
}

void DimmGroup::before_completion_read(State &state, std::uint64_t now) const {
  if (state.read(running_, 0) != 0 && now - time_of(state, run_start_) >= electrics_.completion_time) {
    state.write(running_, 0, 0);
    state.write(flags_, 0, ENDED | electrics_.completion_errors << ERROR_PLACE);
  }
  state.write(registers_.completion, 0, (state.read(registers_.completion, 0) & ~FLAGS) | state.read(flags_, 0));
}

}  // namespace simulated
