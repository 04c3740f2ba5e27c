#pragma once

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "support/support.hpp"

using support::Lines;
using support::run_macro;
using support::RunInput;
using support::RunResult;
using support::operator+;

/// What the tests of the DIMM macros share.
namespace dimm {

inline constexpr macro_word COMPLETE = 0x80000000;
inline constexpr macro_word FINDING = 0x40000000;

inline const support::UnitWords MAC = support::one_chip(scdb::ChipKind::mac, 1, 1);

/// A register file that holds what is written.  A test says which registers answer with something else.
class RegisterFile : public support::ScriptedMachine {
 public:
  std::map<unsigned, macro_word> held;
  /// Told what the register holds and how many reads, this one included, there were since it was written.
  using Answer = std::function<macro_word(macro_word held, unsigned reads)>;
  std::map<unsigned, Answer> answers;

  void start_again() {
    held.clear();
    answers.clear();
    reads_.clear();
  }

  scdb::Outcome i2c(std::span<const scdb::Chip> chips, scdb::Direction direction, macro_word port, unsigned device,
                    unsigned mode, std::span<macro_word> words, unsigned bytes) override {
    if (direction == scdb::Direction::write) {
      held[device] = words[0];
      reads_[device] = 0;
      return scdb::Outcome::success();
    }
    if (const auto answer = answers.find(device); answer != answers.end())
      words[0] = answer->second(held[device], ++reads_[device]);
    else if (held.contains(device))
      words[0] = held[device];
    else
      return ScriptedMachine::i2c(chips, direction, port, device, mode, words, bytes);
    return scdb::Outcome::success();
  }

 private:
  std::map<unsigned, unsigned> reads_;
};

inline constexpr macro_word HIGH = 0x8000;
inline constexpr macro_word VALID = 0x4000;
inline constexpr macro_word OTHERS = 0x00033FFF;  ///< bits around them, which say nothing

/// An impedance register that turns over at these codes.  Its first answer after a write is not settled.
inline RegisterFile::Answer turns_over(macro_word up, macro_word down) {
  return [=](macro_word held, unsigned reads) {
    const bool high = (held & 0x00200000) != 0 ? held >> 28 <= up : (held >> 24 & 0xF) < down;
    const macro_word settled = held | OTHERS | VALID | (high ? HIGH : 0);
    return reads == 1 ? ~settled : settled;
  };
}

class Dimm : public testing::Test {
 protected:
  Dimm() {
    for (const unsigned impedance : {38U, 39U})
      file_->answers[impedance] = turns_over(9, 3);
  }

  support::Attached<RegisterFile> file_;
};

/// Lines of the macros nested this deep, without their indentation.
inline Lines at_depth(const Lines &lines, std::size_t depth) {
  Lines result;
  for (const std::string &line : lines)
    if (line.find_first_not_of(' ') == 2 * depth)
      result.push_back(line.substr(2 * depth));
  return result;
}

inline Lines starting_with(const Lines &lines, const std::string &start) {
  Lines result;
  std::ranges::copy_if(lines, std::back_inserter(result),
                       [&](const std::string &line) { return line.starts_with(start); });
  return result;
}

inline Lines operator*(int times, const Lines &lines) {
  Lines result;
  for (int i = 0; i < times; ++i)
    result = result + lines;
  return result;
}

inline std::string put(unsigned number, macro_word word) {
  return fmt::format("i2c write {:X} {:X}", number, word);
}
inline std::string get(unsigned number) {
  return fmt::format("i2c read {:X}", number);
}

inline void expect_data(const RunResult &run, const std::vector<macro_word> &words) {
  for (std::size_t i = 0; i < words.size(); ++i)
    EXPECT_EQ(run.data[i], words[i]) << "word " << i;
  for (const std::size_t index : run.written)
    EXPECT_LT(index, words.size());
}

}  // namespace dimm
