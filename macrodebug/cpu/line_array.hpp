#pragma once

#include "cpu/array.hpp"

namespace cpu {

/// A macro for the line RAM: 32 lines of 32 words, _PARA[0] being the first line and _PARA[1] the number of lines.
///
/// The word counter starts once for all lines: the words of the first line are transferred, further lines are only
/// counted.  Programs that read lines one by one rely on the 96 words of _DATA that this gives for every count.
template <class Member>
struct LineArray : ArrayMacro<Member> {
  using ArrayMacro<Member>::begin, ArrayMacro<Member>::settle, ArrayMacro<Member>::put;

  static constexpr CodeFormat FORMAT = BEHIND_FORMAT;
  static constexpr macro_word LIMIT = 32;

  /// The order in which the words of a line are visited: the halves of each group of 16 take turns.
  static constexpr macro_word _RAMADRS[] = {
      0,  8,  1,  9,  2,  10, 3,  11, 4,  12, 5,  13, 6,  14, 7,  15,
      16, 24, 17, 25, 18, 26, 19, 27, 20, 28, 21, 29, 22, 30, 23, 31,
  };
  static constexpr int32_t LAST_WORD = 31;

  [[nodiscard]] macro_word first_entry() const { return lmcr_shift(this->_PARA[0], 27, 27, 5); }

  template <class Step>
  [[nodiscard]] bool walk(Step step) {
    while (this->_COUNT1 > 0) {
      while (this->_COUNT4 <= LAST_WORD) {
        if (!step())
          return false;
        ++this->_COUNT4;
      }
      ++this->_COUNT2;
      --this->_COUNT1;
    }
    return true;
  }

  [[nodiscard]] macro_word word_number() const { return _RAMADRS[this->_COUNT4]; }
};

}  // namespace cpu
