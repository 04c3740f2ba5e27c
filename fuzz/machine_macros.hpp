#pragma once

#include <algorithm>
#include <array>

#include "fuzz.hpp"

namespace fuzz {

/// A macro that chips of the simulated server offer outside the library, and the words that docs/crossbar.md and
/// docs/clock.md give it; where they are none it gets a null pointer.
struct MachineMacro {
  macro_word number;
  std::size_t para_words;
  std::size_t data_words;
};

/// Its parameter says how many of the operand registers it moves.
inline constexpr MachineMacro OPERANDS{0x1A34, 1, 32};

inline constexpr std::array<MachineMacro, 32> MACHINE_MACROS{{
    {0x1480, 16, 1}, {0x1481, 16, 0}, {0x1482, 16, 0}, {0x1483, 16, 0}, {0x1484, 16, 0}, {0x1485, 16, 0},
    {0x1488, 16, 1}, {0x148C, 16, 0}, {0x1A00, 0, 0},  {0x1A01, 0, 0},  {0x1A02, 0, 0},  {0x1A06, 0, 0},
    {0x1A11, 0, 0},  {0x1A12, 0, 0},  {0x1A13, 1, 0},  {0x1A14, 0, 3},  {0x1A15, 2, 3},  {0x1A20, 1, 0},
    {0x1A21, 1, 0},  {0x1A31, 1, 0},  OPERANDS,        {0x1A35, 1, 1},  {0x1A36, 1, 1},  {0x1A37, 1, 1},
    {0x1A39, 1, 0},  {0x1A3A, 1, 1},  {0x1A3C, 1, 1},  {0x1A3E, 1, 0},  {0x1A40, 3, 0},  {0x1A50, 1, 0},
    {0x1A62, 1, 0},  {0x1A73, 0, 0},
}};

/// The areas of a call of such a macro, with not a word more than it is given.
class MacroAreas {
 public:
  /// @param next  gives the words that the areas hold, one after another.
  template <class Next>
  void begin(const MachineMacro &macro, Next next) {
    para_ = fill(para_area_, macro.para_words, next);
    std::size_t data_words = macro.data_words;
    if (macro.number == OPERANDS.number)
      data_words = std::clamp<std::size_t>(para_[0] >> 16, 1, data_words);
    data_ = fill(data_area_, data_words, next);
  }

  [[nodiscard]] const macro_word *para() const { return para_; }
  [[nodiscard]] macro_word *data() const { return data_; }

 private:
  template <class Next>
  static macro_word *fill(Area &area, std::size_t words, Next &next) {
    if (words == 0)
      return nullptr;
    macro_word *const first = area.begin(words);
    std::generate_n(first, words, next);
    return first;
  }

  Area para_area_{"para", 16};
  Area data_area_{"data", OPERANDS.data_words};
  macro_word *para_ = nullptr;
  macro_word *data_ = nullptr;
};

}  // namespace fuzz
