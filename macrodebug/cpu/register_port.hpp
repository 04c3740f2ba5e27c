#pragma once

#include "frame/frame.hpp"

/// The CPU's register port: instruction 0xB0 takes a command word, 0xB1 gives the answer.
///
/// A command word holds the operation in bits 0-5, the register number in bits 6-11 and data in bits 12-31, bit 0 being
/// the most significant.  The registers are numbered 0-7, 16-23 and 32-39.
namespace cpu {

// JTAG instructions.
inline constexpr macro_word COMMAND = 0xB0;
inline constexpr macro_word ANSWER = 0xB1;
inline constexpr macro_word WRITE_BYTES_0_3 = 0xB2;  ///< the merged word that holds byte registers 0 to 3
inline constexpr macro_word WRITE_BYTES_4_7 = 0xB3;  ///< the same for 4 to 7
inline constexpr macro_word STATUS = 0x0F;

// Operations.
inline constexpr macro_word READ_FIRST_WORD = 0x60000000;
inline constexpr macro_word READ_SECOND_WORD = 0x64000000;
inline constexpr macro_word READ_FOR_BYTE = 0x68000000;
inline constexpr macro_word READ_STATE = 0x6C000000;
inline constexpr macro_word WRITE_REGISTER = 0x40000000;

/// What a register write can hold.
inline constexpr macro_word REGISTER_DATA = 0x000FFFFF;

/// The register number's place in a command word.
[[nodiscard]] inline macro_word register_field(macro_word number) {
  return lmcr_shift(number, 26, 6, 6);
}

/// A body that asks the register port.
struct RegisterPort : frame::Frame {
  /// Gives a command and reads the answer.
  [[nodiscard]] bool ask(macro_word command, macro_word &answer) const {
    return write(COMMAND, command) && read(ANSWER, answer);
  }
};

}  // namespace cpu
