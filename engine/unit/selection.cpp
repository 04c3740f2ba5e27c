#include "engine/unit/selection.hpp"

#include <fmt/format.h>

#include <charconv>
#include <optional>
#include <vector>

#include "engine/text/error.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/chips.hpp"

namespace engine {
namespace {

using scdb::Chip;
using scdb::ChipKind;

/// Chips of one kind: for each board a mask of chip numbers.
using ChipMasks = std::array<macro_word, scdb::BOARDS>;

/// What one side of a place names: everything that exists, or the numbers of a mask.
struct Numbers {
  bool all = false;
  macro_word mask = 0;

  [[nodiscard]] bool names(unsigned number) const { return all || (mask >> number & 1) != 0; }
};

std::optional<unsigned> parse_small(std::string_view text, unsigned limit) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value >= limit)
    return std::nullopt;
  return value;
}

/// One element of a list, "3" or "2-5", as a mask.
std::optional<macro_word> parse_range(std::string_view text, unsigned limit) {
  const std::size_t dash = text.find('-');
  const std::optional<unsigned> first = parse_small(text.substr(0, dash), limit);
  const std::optional<unsigned> last =
      dash == std::string_view::npos ? first : parse_small(text.substr(dash + 1), limit);
  if (!first || !last || *last < *first)
    return std::nullopt;
  macro_word mask = 0;
  for (unsigned number = *first; number <= *last; ++number)
    mask |= macro_word{1} << number;
  return mask;
}

Numbers parse_numbers(std::string_view text, unsigned limit, std::string_view what, std::string_view whole) {
  if (text == "*")
    return {.all = true, .mask = 0};
  Numbers numbers;
  for (const std::string_view piece : split(text, ',')) {
    const std::optional<macro_word> mask = parse_range(piece, limit);
    if (!mask)
      throw InputError(
          fmt::format("unit '{}': '{}' names no {}; give a number from 0 to {}, a list such as 0,2-3, or *", whole,
                      piece, what, limit - 1));
    numbers.mask |= *mask;
  }
  return numbers;
}

ChipMasks chips_of(ChipKind kind, std::span<const Chip> chips) {
  ChipMasks masks{};
  for (const Chip chip : chips)
    if (chip.kind == kind)
      masks[chip.board] |= macro_word{1} << chip.number;
  return masks;
}

/// "cpu:0-1.0-1+2.0": boards that carry the same chips share one place.  Empty where no chip is named.
std::string name_of(ChipKind kind, const ChipMasks &masks) {
  std::string name;
  macro_word done = 0;
  for (unsigned board = 0; board < scdb::BOARDS; ++board) {
    if (masks[board] == 0 || (done >> board & 1) != 0)
      continue;
    macro_word alike = 0;
    for (unsigned other = board; other < scdb::BOARDS; ++other)
      if (masks[other] == masks[board])
        alike |= macro_word{1} << other;
    done |= alike;
    name += fmt::format("{}{}.{}", name.empty() ? "" : "+", list_of_bits(alike), list_of_bits(masks[board]));
  }
  return name.empty() ? name : fmt::format("{}:{}", scdb::info(kind).name, name);
}

[[noreturn]] void refuse_place(std::string_view whole, ChipKind kind, const ChipMasks &existing) {
  const std::string there = name_of(kind, existing);
  const std::string_view name = scdb::info(kind).name;
  throw InputError(there.empty()
                       ? fmt::format("unit '{}': this machine has no {} at all", whole, name)
                       : fmt::format("unit '{}': this machine has no such {}; it has {}", whole, name, there));
}

/// The chips that one place, "0.1" or "*", names.  A place named by number must exist; "*" takes what there is.
ChipMasks parse_place(std::string_view place, std::string_view whole, ChipKind kind, const ChipMasks &existing) {
  const std::size_t dot = place.find('.');
  const Numbers boards = parse_numbers(place.substr(0, dot), scdb::BOARDS, "board", whole);
  const Numbers numbers = dot == std::string_view::npos
                              ? Numbers{.all = true, .mask = 0}
                              : parse_numbers(place.substr(dot + 1), scdb::info(kind).limit, "chip", whole);
  ChipMasks named{};
  bool any = false;
  for (unsigned board = 0; board < scdb::BOARDS; ++board) {
    if (!boards.names(board))
      continue;
    named[board] = numbers.all ? existing[board] : existing[board] & numbers.mask;
    const bool complete = numbers.all ? named[board] != 0 : named[board] == numbers.mask;
    if (!boards.all && !complete)
      refuse_place(whole, kind, existing);
    any = any || named[board] != 0;
  }
  if (!any)
    refuse_place(whole, kind, existing);
  return named;
}

}  // namespace

Selection parse_selection(std::string_view text, std::span<const Chip> chips) {
  const std::size_t colon = text.find(':');
  const std::optional<ChipKind> kind = scdb::kind_named(text.substr(0, colon));
  if (!kind)
    throw InputError(
        fmt::format("unit '{}': '{}' is no kind of unit; the kinds are {} (for example cpu:0.1, sc:0,2-3.*)", text,
                    text.substr(0, colon), kinds_of_units()));
  const ChipMasks existing = chips_of(*kind, chips);
  const std::string_view places = colon == std::string_view::npos ? "*" : text.substr(colon + 1);

  Selection selection;
  selection.type = scdb::unit_type_of(*kind);
  for (const std::string_view place : split(places, '+')) {
    const ChipMasks named = parse_place(place, text, *kind, existing);
    for (unsigned board = 0; board < scdb::BOARDS; ++board) {
      if (named[board] == 0)
        continue;
      selection.number |= macro_word{1} << board;
      selection.mring[board] |= named[board] << scdb::info(*kind).first_bit;
    }
  }
  return selection;
}

bool selects(const Selection &selection, Chip chip) {
  return selection.type == scdb::unit_type_of(chip.kind) && (selection.number >> chip.board & 1) != 0
         && (selection.mring[chip.board] & scdb::chip_bit(chip.kind, chip.number)) != 0;
}

std::vector<Selection> single_chips(const Selection &selection, std::span<const Chip> chips) {
  const std::optional<ChipKind> kind = scdb::kind_of(selection.type);
  std::vector<Selection> singles;
  for (const Chip chip : chips) {
    const macro_word bit = scdb::chip_bit(chip.kind, chip.number);
    if (chip.kind != kind || (selection.number >> chip.board & 1) == 0 || (selection.mring[chip.board] & bit) == 0)
      continue;
    Selection &single = singles.emplace_back();
    single.type = selection.type;
    single.number = macro_word{1} << chip.board;
    single.mring[chip.board] = bit;
  }
  return singles;
}

std::string describe(const scdb::Unit &unit) {
  const std::optional<ChipKind> kind = scdb::kind_of(unit.type);
  if (!kind || unit.mring == nullptr)
    return fmt::format("unit type {}, number {}", hex(unit.type), hex(unit.number));
  ChipMasks masks{};
  for (unsigned board = 0; board < scdb::BOARDS; ++board)
    if ((unit.number >> board & 1) != 0)
      masks[board] = (unit.mring[board] & scdb::chip_mask(*kind)) >> scdb::info(*kind).first_bit;
  const std::string name = name_of(*kind, masks);
  return name.empty() ? fmt::format("no {}", scdb::info(*kind).name) : name;
}

}  // namespace engine
