#pragma once

#include "libscfjtag.h"

/// What the primitives that reach the hardware take: for those who call them, and for those who make calls out of what
/// people type.
///
/// The macro library has a table of its own, in macrodebug/frame: it rests on the interface headers alone, and every
/// run of a macro checks the one against the other.
namespace scdb {

/// The greatest instruction code, ring code and device number.
inline constexpr macro_word LAST_CODE = 0xFF;

// Modes of lmcr_scan.
inline constexpr macro_word SCAN_READ = 0;     ///< ring to buffer
inline constexpr macro_word SCAN_WRITE = 1;    ///< buffer to ring
inline constexpr macro_word SCAN_OPEN = 128;   ///< as a read, and each chip's contents are kept
inline constexpr macro_word SCAN_CLOSE = 129;  ///< the kept contents go back

// Modes of lmcr_i2cctl, and the longest transfer.
inline constexpr macro_word I2C_REGISTER = 2;
inline constexpr macro_word I2C_COMMAND = 3;
inline constexpr macro_word I2C_MOST_BYTES = 4096;

/// The most registers that one call of lmcr_mbcreg moves.
inline constexpr macro_word MBC_MOST_REGISTERS = 1024;
/// Whether maintenance-bus registers can have this many bytes.
[[nodiscard]] constexpr bool is_mbc_length(macro_word bytes) {
  return bytes == 1 || bytes == 2 || bytes == 4;
}

// Ring bit addresses.

inline constexpr macro_word LAST_POSITION = 0x7FFFF;
inline constexpr unsigned LONGEST_RUN = 16;

/// A ring bit address taken apart: the position within the ring in bits 0-18, the ring code in bits 19-27, the run
/// length minus 1 in bits 28-31.  A run goes from its position towards higher positions, its first bit taking the most
/// significant bit handed out.
struct RingBits {
  unsigned position;  ///< of the first bit, 0 to LAST_POSITION
  unsigned ring;      ///< ring code, 0 to 0x1FF
  unsigned length;    ///< bits in the run, 1 to LONGEST_RUN
};

[[nodiscard]] constexpr RingBits take_apart(macro_word address) {
  return {address & LAST_POSITION, address >> 19 & 0x1FF, (address >> 28) + 1};
}

[[nodiscard]] constexpr macro_word put_together(const RingBits &bits) {
  return macro_word{bits.length - 1} << 28 | macro_word{bits.ring} << 19 | bits.position;
}

}  // namespace scdb
