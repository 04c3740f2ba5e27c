#include <fmt/format.h>

#include <bit>

#include "scdb/context.hpp"

namespace scdb {

std::string to_string(Chip chip) {
  return fmt::format("{}:{}.{}", info(chip.kind).name, chip.board, chip.number);
}

Outcome resolve(const Machine &machine, const Unit &unit, const Triple &triple, ChipList &chips) {
  const std::optional<ChipKind> kind = kind_of(unit.type);
  if (!kind)
    return Outcome::failure(Reason::unknown_unit_type);
  if (unit.mring == nullptr)
    return Outcome::failure(Reason::null_pointer);
  if (unit.number == 0 || unit.number >> BOARDS != 0)
    return Outcome::failure(Reason::bad_board_mask);

  const macro_word boards = triple.t1 == MACRO_ALL ? unit.number : triple.t1;
  const macro_word selected = triple.t2 == MACRO_ALL ? chip_mask(*kind) : triple.t2;
  if (triple.t0 != MACRO_ALL || boards == 0 || (boards & ~unit.number) != 0 || selected == 0
      || (selected & ~chip_mask(*kind)) != 0)
    return Outcome::failure(Reason::bad_triple);

  // Once for each bit that is set.
  for (macro_word board_bits = boards; board_bits != 0; board_bits &= board_bits - 1) {
    const int board = std::countr_zero(board_bits);
    for (macro_word bits = unit.mring[board] & selected; bits != 0; bits &= bits - 1) {
      const unsigned number = static_cast<unsigned>(std::countr_zero(bits)) - info(*kind).first_bit;
      const Chip chip{*kind, static_cast<std::uint8_t>(board), static_cast<std::uint8_t>(number)};
      if (!machine.has(chip))
        return Outcome::failure(Reason::missing_chip, chip);
      chips.add(chip);
    }
  }
  return chips.empty() ? Outcome::failure(Reason::no_chip) : Outcome::success();
}

}  // namespace scdb
