#include "engine/unit/chips.hpp"

#include <fmt/format.h>

#include "engine/text/words.hpp"

namespace engine {

std::string describe_chips(macro_word location) {
  std::string chips;
  macro_word unknown = location;
  for (const scdb::ChipKindInfo &row : scdb::CHIP_KINDS) {
    const macro_word mask = scdb::chip_mask(row.kind);
    if ((location & mask) != 0)
      chips +=
          fmt::format("{}{} {}", chips.empty() ? "" : ", ", row.name, list_of_bits((location & mask) >> row.first_bit));
    unknown &= ~mask;
  }
  return unknown == 0 ? chips : std::string{};
}

std::string kinds_of_units() {
  std::string kinds;
  for (const scdb::ChipKindInfo &row : scdb::CHIP_KINDS)
    kinds += fmt::format("{}{}", kinds.empty() ? "" : ", ", row.name);
  return kinds;
}

}  // namespace engine
