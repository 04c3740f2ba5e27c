#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "scdb/units.hpp"

namespace engine {

/// The unit words that a macro is run with.
struct Selection {
  macro_word type = 0;
  macro_word number = 0;  ///< board mask
  std::array<macro_word, MRING_WORDS> mring{};

  [[nodiscard]] scdb::Unit words() const { return {type, number, mring.data()}; }
};

/// Reads a unit as people type it: KIND[:BOARDS[.CHIPS]], several places of one kind joined by "+".
///
/// BOARDS and CHIPS are numbers, lists and ranges such as "0,2-3", or "*" for those that exist, which is also what a
/// missing part stands for: "cpu:0.1", "sc:0,2-3.*", "cpu:*.0", "cpu".
/// @param chips  the chips of the machine.
/// @throw InputError for an unknown kind, a malformed list, or a place where the machine has no such chip; the message
///        lists what there is.
[[nodiscard]] Selection parse_selection(std::string_view text, std::span<const scdb::Chip> chips);

/// Whether a selection that parse_selection() made names the chip.
[[nodiscard]] bool selects(const Selection &selection, scdb::Chip chip);

/// The chips that a selection names, each as a selection of its own, in ascending order.
/// @param chips  the chips of the machine.
[[nodiscard]] std::vector<Selection> single_chips(const Selection &selection, std::span<const scdb::Chip> chips);

/// The unit words in the form that parse_selection() reads, "cpu:0.1"; in words where they designate no chip.
[[nodiscard]] std::string describe(const scdb::Unit &unit);

}  // namespace engine
