#include "mac/both_groups.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9006_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The called macro has the rank in bits 28-29 instead of bits 2-3, and delay field and bypass flag in the same places.
struct DriverAdjustment {
  static constexpr macro_word NUMBER = mac::ADJUST_DRIVER;
  static constexpr macro_word ACCEPTED = 0x701F;
  static constexpr macro_word RANK = 0x30000000;
  static constexpr macro_word BYPASS = 16;

  [[nodiscard]] static constexpr bool accepts(macro_word para) {
    return (para & mac::GROUP_FIELD) != 0 && (para & mac::DELAY_FIELD) <= mac::LONGEST_DELAY && (para & ~ACCEPTED) == 0;
  }
  [[nodiscard]] static constexpr macro_word common(macro_word para) {
    return (para << 26 & RANK) | (para & BYPASS) | (para & mac::DELAY_FIELD);
  }
};

}  // namespace

MACRO_ENTRY(ma_9006_0101, mac::BothGroups<DriverAdjustment>)
