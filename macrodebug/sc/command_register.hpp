#pragma once

#include "frame/broadcast.hpp"

namespace sc {

/// JTAG instruction that writes the command register.  Bits 28-31 of a command say what to do, bit 0 being the least
/// significant.
inline constexpr macro_word COMMAND = 0xBA;

}  // namespace sc
