#include <charconv>
#include <cmath>
#include <limits>
#include <map>

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
  bool in_order;          ///< whether its bits have positions, from its first bit on
};
constexpr PlaceKindRow PLACE_KINDS[] = {
    {"chip", PlaceKind::chip, "chip", 0, false},
    {"jtag", PlaceKind::jtag, "jtag CODE", 0xFF, false},
    {"ring", PlaceKind::ring, "ring CODE", 0xFF, true},
    {"i2c", PlaceKind::i2c, "i2c DEVICE", 0xFF, false},
    {"mbc", PlaceKind::mbc, "mbc ADDRESS", MACRO_ALL, false},
    {"register", PlaceKind::cells, "register NAME", 0, false},
    {"array", PlaceKind::cells, "array NAME", 0, true},
    {"nested", PlaceKind::nested, "nested NUMBER", MACRO_ALL, false},
};

/// "7" or "3-9": a bit of a word, or a run of them; nothing where the text names none.
std::optional<macro_word> mask_of(std::string_view range) {
  const std::size_t dash = range.find('-');
  const std::optional<macro_word> first = number_in(range.substr(0, dash));
  const std::optional<macro_word> last = dash == std::string_view::npos ? first : number_in(range.substr(dash + 1));
  if (!first || !last || *first > *last || *last > 31)
    return std::nullopt;
  return MACRO_ALL >> (31 - *last) & MACRO_ALL << *first;
}

/// How positions are named as bits of words.
std::string bits_of_words(const std::vector<std::uint32_t> &positions) {
  std::map<std::uint32_t, std::string> words;
  for (const std::uint32_t position : positions) {
    std::string &bits = words[position / 32];
    bits += fmt::format("{}{}", bits.empty() ? "" : ",", 31 - position % 32);
  }
  std::string all;
  for (const auto &[word, bits] : words)
    all += fmt::format("{}{}bits = \"{}\"", all.empty() ? "" : ", and in a fault of its own ",
                       word == 0 ? "" : fmt::format("word = {} and ", word), bits);
  return all;
}

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
  static constexpr std::string_view KEYS[] = {"chip",  "place", "kind",  "bit",         "bits", "word",
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
        read_word_bits(*node, table.get("word"), line);
      line.bits = {std::string{key}, where(*node)};
    }
  if (const toml::node *node = table.get("word"); node != nullptr && line.bits.text != "bits")
    fail(*node, "word stands beside bits, and says in which word of the place they are");
  if (needs_bits && line.positions.empty())
    fail(kind,
         fmt::format("which bits? write {} beside {}",
                     line.in_order ? "bit = 0 or bit = [0, 1]" : "bits = \"31\", bits = \"0-7\" or bits = 0x80000000",
                     name));
}

/// After how many accesses, how many times and how likely a fault shows.
void DescriptionReader::read_occasions(const toml::table &table, ChipFault &fault) const {
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
    line.in_order = row->in_order;
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

/// bit = position or a list of positions, from the first bit of a ring or entry on.
void DescriptionReader::read_positions(const toml::node &node, FaultLine &line) const {
  const auto position = [&](const toml::node &element) {
    line.positions.push_back(static_cast<std::uint32_t>(integer(element, "a bit's position", 0, MACRO_ALL)));
  };
  if (!node.is_array()) {
    position(node);
  } else {
    for (const toml::node &element : *node.as_array())
      position(element);
  }
  if (line.positions.empty())
    fail(node, "bit must name at least one position");
  // Descriptions once counted them from the most significant everywhere.
  if (!line.in_order)
    fail(node, fmt::format("the bits of a word have no positions: bit 0 is the least significant; write {}",
                           bits_of_words(line.positions)));
}

/// bits = mask over a word of the place, or a text that names bits of it.
void DescriptionReader::read_word_bits(const toml::node &node, const toml::node *word, FaultLine &line) const {
  if (line.where == PlaceKind::ring)
    fail(node, "the bits of a ring are named by their positions: write bit");
  macro_word mask = 0;
  if (!node.is_string()) {
    mask = static_cast<macro_word>(integer(node, "bits", 1, MACRO_ALL));
  } else {
    const std::string_view said = text(node, "bits");
    for (std::size_t at = 0, comma = 0; comma != std::string_view::npos; at = comma + 1) {
      comma = said.find(',', at);
      const std::optional<macro_word> some = mask_of(said.substr(at, comma - at));
      if (!some)
        fail(node, fmt::format("'{}' names no bits of a word; write numbers from 0, the least significant, to 31, such "
                               "as \"7\", \"0-7\" or \"0,16-25\"",
                               said));
      mask |= *some;
    }
  }
  const macro_word number = word == nullptr ? 0 : this->word(*word, "word");
  if (number > std::numeric_limits<std::uint32_t>::max() / 32 - 1)
    fail(*word, "there is no such word");
  for (unsigned bit = 32; bit-- > 0;)
    if ((mask >> bit & 1) != 0)
      line.positions.push_back(number * 32 + 31 - bit);
}

}  // namespace simulated
