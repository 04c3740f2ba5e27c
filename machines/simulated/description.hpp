#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "machines/simulated/fault.hpp"

/// What a machine is made of, as the text of a description says it (docs/machine.md).
namespace simulated {

/// Chips of one kind: nothing in place of a number stands for all.
struct Selector {
  scdb::ChipKind kind = scdb::ChipKind::cpu;
  std::optional<unsigned> board;
  std::optional<unsigned> number;

  [[nodiscard]] bool matches(scdb::Chip chip) const {
    return chip.kind == kind && board.value_or(chip.board) == chip.board && number.value_or(chip.number) == chip.number;
  }
};

/// A word of the description, and where in which file it stands.
struct Said {
  std::string text;
  std::string where;  ///< "file:line:column"
};

/// A parameter for some chips.
struct Setting {
  Selector chips;
  std::string name;
  std::int64_t value = 0;
};

/// A fault before it is known which chips it falls on and what their places are like.
struct FaultLine {
  Selector chips;
  Said chip;   ///< as it was written
  Said place;  ///< as it was written
  PlaceKind where = PlaceKind::chip;
  macro_word code = 0;    ///< of the place, where it has one
  bool in_order = false;  ///< whether its bits have positions, as those of a ring and of an array's entry; else they
                          ///< are bits of words
  Said bits;              ///< the key that names bits; empty text where there is none
  std::optional<std::uint32_t> entry;
  Said entry_key;
  std::vector<std::uint32_t> positions;  ///< bits, counted from the most significant of the place's first word
  ChipFault fault;                       ///< its kind and schedule
};

struct Description {
  using PerKind = std::array<std::optional<unsigned>, scdb::CHIP_KINDS.size()>;

  std::string name;
  bool broadcast = true;
  macro_word seed = 0;
  std::bitset<scdb::BOARDS> boards;
  PerKind chips{};                                  ///< on every board
  std::array<PerKind, scdb::BOARDS> board_chips{};  ///< where a board differs
  std::array<std::map<unsigned, std::size_t>, scdb::CHIP_KINDS.size()>
      rings;                      ///< lengths that differ; 0 = no such ring
  std::vector<Setting> settings;  ///< later ones prevail
  std::vector<FaultLine> faults;

  [[nodiscard]] unsigned chips_on(unsigned board, scdb::ChipKind kind) const;
  [[nodiscard]] bool has(scdb::Chip chip) const;
};

/// Reads a description.  @param origin what messages call the text; relative paths in it start from that file's folder.
/// @throw scdb::MachineError
[[nodiscard]] Description read_description(std::string_view text, const std::string &origin);

/// The description of this name: empty for the default, the name of a built-in one, or the path of a file.
/// @throw scdb::MachineError
[[nodiscard]] Description find_description(const std::string &name);

}  // namespace simulated
