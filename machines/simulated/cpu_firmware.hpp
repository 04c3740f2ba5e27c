#pragma once

#include <array>

#include "machines/simulated/chip.hpp"

namespace simulated {

inline constexpr std::size_t FIRMWARE_MACRO_COUNT = 24;

/// The macros that the CPU chip's firmware offers.  docs/clock.md tells what each is told and does.
extern const std::array<macro_word, FIRMWARE_MACRO_COUNT> FIRMWARE_MACROS;

/// Runs one of them.  It reaches the chip through the same instructions and rings as anybody else.
[[nodiscard]] scdb::Reason run_firmware_macro(ChipModel &chip, const scdb::NestedCall &call);

}  // namespace simulated
