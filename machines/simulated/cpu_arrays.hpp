#pragma once

#include <vector>

#include "machines/simulated/chip_state.hpp"

/// The CPU chip's memory arrays behind the scan rings: caches, line RAMs and the translation RAM.
/// docs/cpu-arrays.md describes them.
namespace simulated::arrays {

struct Row;

class MemoryArrays {
 public:
  MemoryArrays() = default;
  /// @param state of the chip, with its rings and operand registers declared.
  explicit MemoryArrays(State &state);

  /// A command word was given to the scan logic.  @return whether it was one for the arrays.
  bool command(State &state, macro_word word) const;

 private:
  /// One array and its latches.
  struct Array {
    const Row *row = nullptr;
    State::Id in = 0;  ///< rings
    State::Id address = 0;
    State::Id out = 0;
    std::optional<State::Id> gates;
    std::optional<State::Id> operand;
    State::Id cells = 0;
    std::optional<State::Id> pending;  ///< the address latched, or the entry that the next access shows
  };

  void add(State &state, const Row &row, const std::string &name);
  static void access(State &state, const Array &array, bool reads);
  [[nodiscard]] static bool answers(State &state, const Array &array);
  [[nodiscard]] static macro_word operand(State &state, const Array &array);

  std::vector<Array> arrays_;
};

}  // namespace simulated::arrays
