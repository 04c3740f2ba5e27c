#include <charconv>
#include <cmath>
#include <limits>

#include "machines/simulated/description_reader.hpp"

/// The part of a description that says what is broken.
namespace simulated {
namespace {

struct FaultKindRow {
  std::string_view name;
  FaultKind kind;
  std::span<const PlaceKind> places;
  bool needs_bits;
};
constexpr PlaceKind ACCESSES[] = {PlaceKind::chip, PlaceKind::jtag, PlaceKind::ring, PlaceKind::i2c, PlaceKind::mbc};
constexpr PlaceKind DATA[] = {PlaceKind::jtag, PlaceKind::ring, PlaceKind::i2c, PlaceKind::mbc, PlaceKind::cells};
constexpr PlaceKind MACROS[] = {PlaceKind::nested};
constexpr FaultKindRow FAULT_KINDS[] = {
    {"dead", FaultKind::dead, ACCESSES, false},
    {"no-acknowledge", FaultKind::no_acknowledge, ACCESSES, false},
    {"stuck-0", FaultKind::stuck_0, DATA, true},
    {"stuck-1", FaultKind::stuck_1, DATA, true},
    {"flip", FaultKind::flip, DATA, true},
    {"does-not-hold", FaultKind::does_not_hold, DATA, false},
    {"macro-failed", FaultKind::macro_failed, MACROS, false},
};

struct PlaceKindRow {
  std::string_view word;
  PlaceKind kind;
  std::string_view form;  ///< how such a place is written
  macro_word most;        ///< the greatest number after the word
};
constexpr PlaceKindRow PLACE_KINDS[] = {
    {"chip", PlaceKind::chip, "chip", 0},
    {"jtag", PlaceKind::jtag, "jtag CODE", 0xFF},
    {"ring", PlaceKind::ring, "ring CODE", 0xFF},
    {"i2c", PlaceKind::i2c, "i2c DEVICE", 0xFF},
    {"mbc", PlaceKind::mbc, "mbc ADDRESS", MACRO_ALL},
    {"register", PlaceKind::cells, "register NAME", 0},
    {"array", PlaceKind::cells, "array NAME", 0},
    {"nested", PlaceKind::nested, "nested NUMBER", MACRO_ALL},
};

}  // namespace

std::optional<macro_word> number_in(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal)
    text.remove_prefix(2);
  macro_word number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, hexadecimal ? 16 : 10);
  if (error != std::errc{} || end != text.data() + text.size())
    return std::nullopt;
  return number;
}

Selector DescriptionReader::selector(const toml::node &node) const {
  const std::string &said = text(node, "chip");
  const std::string_view whole = said;
  const std::size_t colon = whole.find(':');
  const std::size_t dot = whole.find('.', colon == std::string_view::npos ? whole.size() : colon);
  const std::optional<scdb::ChipKind> kind = scdb::kind_named(whole.substr(0, colon));
  const auto part = [](std::string_view text, std::optional<unsigned> &number) {
    if (text == "*")
      return true;
    number = number_in(text);
    return number.has_value();
  };
  Selector result;
  if (!kind || dot == std::string_view::npos || !part(whole.substr(colon + 1, dot - colon - 1), result.board)
      || !part(whole.substr(dot + 1), result.number)) {
    std::vector<std::string_view> kinds;
    kinds.reserve(scdb::CHIP_KINDS.size());
    for (const Kind &row : scdb::CHIP_KINDS)
      kinds.push_back(row.name);
    fail(node, fmt::format("'{}' names no chip; write KIND:BOARD.CHIP, KIND being one of {}, and * for every board or "
                           "chip",
                           said, fmt::join(kinds, ", ")));
  }
  result.kind = *kind;
  return result;
}

void DescriptionReader::read_fault(const toml::table &table) {
  static constexpr std::string_view KEYS[] = {"chip",  "place", "kind",  "bit",         "bits",
                                              "entry", "after", "times", "probability", "seed"};
  check_keys(table, KEYS);
  for (const std::string_view key : {"chip", "place", "kind"})
    if (table.get(key) == nullptr)
      fail(table, fmt::format("a fault needs chip, place and kind; there is no {}", key));

  FaultLine line;
  const toml::node &chip = *table.get("chip");
  line.chips = selector(chip);
  line.chip = {text(chip, "chip"), where(chip)};
  read_place(*table.get("place"), line);

  const toml::node &kind = *table.get("kind");
  const std::string &name = text(kind, "kind");
  const auto *const row = std::ranges::find(FAULT_KINDS, name, &FaultKindRow::name);
  if (row == std::end(FAULT_KINDS) || std::ranges::find(row->places, line.where) == row->places.end()) {
    std::vector<std::string_view> accepted;
    for (const FaultKindRow &candidate : FAULT_KINDS)
      if (std::ranges::find(candidate.places, line.where) != candidate.places.end())
        accepted.push_back(candidate.name);
    fail(kind, fmt::format("'{}' is no kind of fault of \"{}\"; accepted here: {}", name, line.place.text,
                           fmt::join(accepted, ", ")));
  }
  line.fault.kind = row->kind;
  line.fault.place = line.where;
  line.fault.code = line.code;

  read_bits(table, row->needs_bits, line);
  if (const toml::node *node = table.get("entry")) {
    if (line.where != PlaceKind::cells)
      fail(*node, "only registers and arrays have entries");
    line.entry = static_cast<std::uint32_t>(integer(*node, "entry", 0, MACRO_ALL));
    line.entry_key = {"entry", where(*node)};
  }
  read_occasions(table, line.fault);
  into_.faults.push_back(std::move(line));
}

/// Which bits of its place a fault concerns.
void DescriptionReader::read_bits(const toml::table &table, bool needs_bits, FaultLine &line) const {
  const toml::node &kind = *table.get("kind");
  const std::string &name = text(kind, "kind");
  for (const std::string_view key : {"bit", "bits"})
    if (const toml::node *node = table.get(key)) {
      if (!needs_bits || !line.positions.empty())
        fail(*node, needs_bits ? "write either bit or bits" : fmt::format("a fault of kind {} has no bits", name));
      if (key == "bit")
        read_positions(*node, line);
      else
        read_mask(*node, line);
      line.bits = {std::string{key}, where(*node)};
    }
  if (needs_bits && line.positions.empty())
    fail(kind, fmt::format("which bits? write bit = 0, bit = [0, 1] or bits = 0x80000000 beside {}", name));
}

/// After how many accesses, how many times and how likely a fault shows.
void DescriptionReader::read_occasions(const toml::table &table, Fault &fault) const {
  if (const toml::node *node = table.get("after"))
    fault.after = static_cast<std::uint64_t>(integer(*node, "after", 0, std::numeric_limits<std::int64_t>::max()));
  if (const toml::node *node = table.get("times"); node != nullptr && node->value<std::string_view>() != "always") {
    if (!node->is_integer())
      fail(*node, "times must be \"always\" or a whole number from 1");
    fault.times = static_cast<std::uint64_t>(integer(*node, "times", 1, std::numeric_limits<std::int64_t>::max()));
  }
  if (const toml::node *node = table.get("probability")) {
    const std::optional<double> chance = node->value<double>();
    if (!chance || !(*chance > 0 && *chance <= 1))
      fail(*node, "probability must be a number above 0 and not above 1");
    fault.chances = static_cast<std::uint64_t>(std::llround(std::ldexp(*chance, 32)));
  }
  if (const toml::node *node = table.get("seed"))
    fault.seed = word(*node, "seed");
}

void DescriptionReader::read_place(const toml::node &node, FaultLine &line) const {
  line.place = {text(node, "place"), where(node)};
  const std::string_view whole = line.place.text;
  const std::size_t space = whole.find(' ');
  const auto *const row = std::ranges::find(PLACE_KINDS, whole.substr(0, space), &PlaceKindRow::word);
  const std::string_view rest = space == std::string_view::npos ? std::string_view{} : whole.substr(space + 1);
  if (row != std::end(PLACE_KINDS)) {
    line.where = row->kind;
    const std::optional<macro_word> number = number_in(rest);
    if (row->most != 0 && number && *number <= row->most) {
      line.code = *number;
      return;
    }
    if (row->most == 0 && rest.empty() == (row->kind == PlaceKind::chip))
      return;
  }
  std::vector<std::string_view> forms;
  for (const PlaceKindRow &candidate : PLACE_KINDS)
    forms.push_back(candidate.form);
  fail(node, fmt::format("'{}' names no place; write one of: {}", whole, fmt::join(forms, ", ")));
}

/// bit = position or a list of positions, counted from the most significant bit of the place's first word.
void DescriptionReader::read_positions(const toml::node &node, FaultLine &line) const {
  const auto position = [&](const toml::node &element) {
    line.positions.push_back(static_cast<std::uint32_t>(integer(element, "a bit's position", 0, MACRO_ALL)));
  };
  if (!node.is_array()) {
    position(node);
    return;
  }
  for (const toml::node &element : *node.as_array())
    position(element);
  if (line.positions.empty())
    fail(node, "bit must name at least one position");
}

/// bits = mask over the place's first word.
void DescriptionReader::read_mask(const toml::node &node, FaultLine &line) const {
  if (line.where == PlaceKind::ring)
    fail(node, "the bits of a ring are named by their positions: write bit");
  const auto mask = static_cast<macro_word>(integer(node, "bits", 1, MACRO_ALL));
  for (unsigned bit = 0; bit < 32; ++bit)
    if ((mask >> (31 - bit) & 1) != 0)
      line.positions.push_back(bit);
}

}  // namespace simulated
