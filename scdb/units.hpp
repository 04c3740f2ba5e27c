#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "libscfjtag.h"
#include "scdb/export.hpp"

namespace scdb {

/// The chips that macros work on.  The numbers are those of the record's place word and of saved machine states.
enum class ChipKind : std::uint8_t { cpu = 0, mac = 1, sc = 2, xb = 3, ioc = 4, sp = 5 };

/// Boards of a server, 0 to 15; the unit number is a mask of them.
inline constexpr unsigned BOARDS = MRING_WORDS;

/// One chip: kind, system board (0 to 15) and number on the board; undetermined unless it is given them.
struct Chip {
  ChipKind kind;
  std::uint8_t board;
  std::uint8_t number;

  friend constexpr auto operator<=>(const Chip &, const Chip &) = default;
};

/// "cpu:0.1", as people type it.
[[nodiscard]] SCDB_API std::string to_string(Chip chip);

/// What the hardware's location words say of one kind of chip.
struct ChipKindInfo {
  ChipKind kind;
  std::string_view name;   ///< short name, as people type it: "cpu"
  std::string_view title;  ///< "CPU chip"
  unsigned first_bit;      ///< chip 0's bit in a board's location word, counted from the least significant
  unsigned limit;          ///< chips of this kind that a board can carry; their bits follow one another
};

/// Bits 0-1 (crossbar) and 8-11 (system controller) are the server's own; the others are free bits that we chose.
inline constexpr std::array<ChipKindInfo, 6> CHIP_KINDS{{
    {ChipKind::cpu, "cpu", "CPU chip", 16, 4},
    {ChipKind::mac, "mac", "memory access controller", 20, 4},
    {ChipKind::sc, "sc", "system controller", 8, 4},
    {ChipKind::xb, "xb", "crossbar", 0, 2},
    {ChipKind::ioc, "ioc", "I/O controller", 24, 2},
    {ChipKind::sp, "sp", "service processor", 28, 2},
}};

[[nodiscard]] constexpr const ChipKindInfo &info(ChipKind kind) {
  return CHIP_KINDS[static_cast<unsigned>(kind)];
}

/// The location-word bits that select chips of this kind.
[[nodiscard]] constexpr macro_word chip_mask(ChipKind kind) {
  return ((macro_word{1} << info(kind).limit) - 1) << info(kind).first_bit;
}

/// The location-word bit that selects chip `number`.
[[nodiscard]] constexpr macro_word chip_bit(ChipKind kind, unsigned number) {
  return macro_word{1} << (info(kind).first_bit + number);
}

/// One row for each unit type.  4 and 16 are both crossbar types and designate the same chips.
struct UnitType {
  macro_word number;
  ChipKind kind;
};
inline constexpr std::array<UnitType, 7> UNIT_TYPES{{
    {0, ChipKind::sp},
    {1, ChipKind::cpu},
    {2, ChipKind::sc},
    {4, ChipKind::xb},
    {8, ChipKind::ioc},
    {16, ChipKind::xb},
    {32, ChipKind::mac},
}};

/// The chip kind of a unit type, if there is such a type.
[[nodiscard]] constexpr std::optional<ChipKind> kind_of(macro_word unit_type) {
  for (const UnitType &row : UNIT_TYPES)
    if (row.number == unit_type)
      return row.kind;
  return std::nullopt;
}

/// The unit type that people mean by a chip kind: the first row of that kind.
[[nodiscard]] constexpr macro_word unit_type_of(ChipKind kind) {
  for (const UnitType &row : UNIT_TYPES)
    if (row.kind == kind)
      return row.number;
  return MACRO_ALL;
}

/// The chip kind with this short name, if there is one.
[[nodiscard]] constexpr std::optional<ChipKind> kind_named(std::string_view name) {
  for (const ChipKindInfo &row : CHIP_KINDS)
    if (row.name == name)
      return row.kind;
  return std::nullopt;
}

/// The unit words of a macro or primitive call.
struct Unit {
  macro_word type = 0;
  macro_word number = 0;
  const macro_word *mring = nullptr;
};

/// The target triple of a primitive call.
struct Triple {
  macro_word t0 = MACRO_ALL;
  macro_word t1 = MACRO_ALL;
  macro_word t2 = MACRO_ALL;
};

/// Up to 64 chips, without allocation: 16 boards with at most 4 chips of a kind.
class ChipList {
 public:
  static constexpr unsigned CAPACITY = 64;

  constexpr void add(Chip chip) { chips_[size_++] = chip; }
  [[nodiscard]] constexpr bool empty() const { return size_ == 0; }
  [[nodiscard]] constexpr unsigned size() const { return size_; }
  [[nodiscard]] constexpr std::span<const Chip> span() const { return {chips_.data(), size_}; }
  [[nodiscard]] constexpr const Chip *begin() const { return chips_.data(); }
  [[nodiscard]] constexpr const Chip *end() const { return chips_.data() + size_; }

 private:
  std::array<Chip, CAPACITY> chips_;  // left as it is: every access makes a list, mostly of one chip
  unsigned size_ = 0;
};

}  // namespace scdb
