#pragma once

#include <cstdint>

#include "machines/simulated/chip.hpp"

/// One DIMM group behind a memory access controller: the controller's registers for it, and how its lines and drivers
/// answer (docs/machine-mac.md).
namespace simulated {

/// The electrical side of a group, as the machine's description has it.
struct DimmElectrics {
  /// Code of the controller's pull-up driver at and below which it is weaker than the reference.
  macro_word pull_up_code = 0;
  /// Code of its pull-down driver from which on it is as strong as the reference.
  macro_word pull_down_code = 0;
  /// Comparators that work: bit 0 that of the pull-up driver, bit 1 that of the pull-down driver.
  macro_word comparators = 0;
  /// Setting, 0 to 15, from which on a driver of the DIMMs is strong enough; 16 = none is.
  struct Steps {
    macro_word up_p = 0;
    macro_word up_n = 0;
    macro_word down_p = 0;
    macro_word down_n = 0;
  } steps;
  std::uint64_t settling_time = 0;    ///< microseconds until a driven level can be read
  std::uint64_t completion_time = 0;  ///< microseconds of the final run
  macro_word completion_errors = 0;   ///< error bits, right-aligned, with which it ends
};

class DimmGroup {
 public:
  /// Cells of the group's registers.
  struct Registers {
    State::Id mode = 0;
    State::Id driver = 0;
    State::Id impedance = 0;
    State::Id completion = 0;
  };

  DimmGroup() = default;
  /// @param number 1 or 2.
  DimmGroup(State &state, unsigned number, const Registers &registers, const DimmElectrics &electrics);

  // What the chip does when one of the registers was written, or is about to be read.
  void mode_written(State &state) const;
  void driver_written(State &state, std::uint64_t now) const;
  void impedance_written(State &state) const;
  void completion_written(State &state, std::uint64_t now) const;
  void before_mode_read(State &state, std::uint64_t now) const;
  void before_impedance_read(State &state) const;
  void before_completion_read(State &state, std::uint64_t now) const;

 private:
  /// The drivers of one line of a rank.
  enum Driver : unsigned { UP_P, UP_N, DOWN_P, DOWN_N, DRIVERS };

  [[nodiscard]] macro_word strength(State &state, unsigned rank, Driver driver) const;
  void step(State &state, unsigned rank, Driver driver, macro_word orders) const;
  [[nodiscard]] macro_word levels(State &state, std::uint64_t now) const;
  [[nodiscard]] macro_word comparison(State &state) const;

  Registers registers_;
  DimmElectrics electrics_;
  State::Id strengths_ = 0;
  State::Id command_ = 0;
  State::Id comparison_ = 0;
  State::Id running_ = 0;
  State::Id flags_ = 0;
  State::Id drive_start_ = 0;
  State::Id run_start_ = 0;
};

}  // namespace simulated
