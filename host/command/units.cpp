#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <nlohmann/json.hpp>
#include <tuple>
#include <utility>

#include "engine/report/run_report.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/selection.hpp"
#include "host/command/commands.hpp"
#include "host/command/output.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"

namespace host {
namespace {

using Json = nlohmann::ordered_json;
using Kind = scdb::Part::Kind;

struct UnitsOptions {
  CommonOptions common;
  std::string unit;
};

/// Chips of one kind that consist of the same parts.
struct Group {
  scdb::ChipKind kind{};
  Selection chips;
  std::vector<scdb::Part> parts;
};

bool alike(const scdb::Part &a, const scdb::Part &b) {
  return std::tie(a.kind, a.name, a.ring, a.entries) == std::tie(b.kind, b.name, b.ring, b.entries);
}

/// The chips of the machine, or those of a unit.
std::vector<scdb::Chip> wanted_chips(Bench &bench, const UnitsOptions &options) {
  std::vector<scdb::Chip> chips = bench.chips();
  if (options.unit.empty())
    return chips;
  const Selection unit = parse_selection(options.unit, chips);
  std::erase_if(chips, [&unit](scdb::Chip chip) { return !selects(unit, chip); });
  return chips;
}

std::vector<Group> groups_of(const std::vector<scdb::Chip> &chips) {
  std::vector<Group> groups;
  for (const scdb::Chip chip : chips) {
    std::vector<scdb::Part> parts = scdb::machine().parts(chip);
    auto at = std::ranges::find_if(groups, [&](const Group &group) {
      return group.kind == chip.kind && std::ranges::equal(group.parts, parts, alike);
    });
    if (at == groups.end())
      at = groups.insert(at, Group{chip.kind, {.type = scdb::unit_type_of(chip.kind)}, std::move(parts)});
    at->chips.number |= macro_word{1} << chip.board;
    at->chips.mring[chip.board] |= scdb::chip_bit(chip.kind, chip.number);
  }
  return groups;
}

/// A part's name without the word for its kind: "l1 tag" of "array l1 tag".
std::string_view short_name(const scdb::Part &part) {
  const std::string_view name = part.name;
  const std::size_t space = name.find(' ');
  return space == std::string_view::npos ? name : name.substr(space + 1);
}

/// "  rings     0x30-0x3F  37707 bits each", the note after it.
/// @param width  of the names.
std::string line_of(std::string_view kind, std::string_view name, std::size_t width, const std::string &size,
                    std::string_view note) {
  return fmt::format("  {:<10}{:<{}}  {}{}{}\n", kind, name, width, size, note.empty() ? "" : ", ", note);
}

/// Rings of one length with consecutive codes share a line.
std::string lines_of_rings(const std::vector<scdb::Part> &parts, std::size_t width) {
  std::string lines;
  for (auto first = parts.begin(); first != parts.end();) {
    auto last = first;
    const auto follows = [&parts](auto at) {
      const auto next = at + 1;
      return next != parts.end() && next->kind == Kind::ring && next->ring == at->ring + 1
             && next->entries == at->entries;
    };
    while (first->kind == Kind::ring && follows(last))
      ++last;
    if (first->kind == Kind::ring)
      lines += line_of(first == last ? "ring" : "rings",
                       first == last ? fmt::format("0x{:02X}", first->ring)
                                     : fmt::format("0x{:02X}-0x{:02X}", first->ring, last->ring),
                       width, fmt::format("{} bits{}", first->entries, first == last ? "" : " each"), first->note);
    first = last + 1;
  }
  return lines;
}

/// The number that a name ends with, "RAM 0x90", and where its digits begin; 0 where it ends with none.
std::pair<std::size_t, unsigned> number_of(std::string_view name) {
  const std::size_t at = name.rfind(" 0x");
  unsigned number = 0;
  if (at == std::string_view::npos)
    return {0, 0};
  const char *const end = name.data() + name.size();
  const auto [last, error] = std::from_chars(name.data() + at + 3, end, number, 16);
  return error == std::errc{} && last == end ? std::pair{at + 3, number} : std::pair{std::size_t{0}, 0U};
}

/// Arrays that are alike but for the numbers they end with, one after another, share a line: RAM 0x90-0xD3.
std::string lines_of_arrays(const std::vector<scdb::Part> &parts, std::size_t width) {
  std::string lines;
  for (auto first = parts.begin(); first != parts.end();) {
    auto last = first;
    const auto [digits, number] = number_of(first->name);
    const auto is_next = [&, digits = digits, number = number](const scdb::Part &part) {
      const auto [at, own] = number_of(part.name);
      return digits != 0 && at == digits && part.kind == Kind::array && part.entries == first->entries
             && part.note == first->note && part.name.starts_with(std::string_view{first->name}.substr(0, digits))
             && own == number + static_cast<unsigned>(&part - &*first);
    };
    while (first->kind == Kind::array && last + 1 != parts.end() && is_next(*(last + 1)))
      ++last;
    if (first->kind == Kind::array)
      lines +=
          line_of(first == last ? "array" : "arrays",
                  first == last ? std::string{short_name(*first)}
                                : fmt::format("{}-0x{}", short_name(*first), last->name.substr(digits)),
                  width, count_of(first->entries, "entry", "entries") + (first == last ? "" : " each"), first->note);
    first = last + 1;
  }
  return lines;
}

std::string lines_of(const std::vector<scdb::Part> &parts) {
  std::size_t width = std::string_view{"0x30-0x3F"}.size();
  for (const scdb::Part &part : parts)
    if (part.kind != Kind::ring)
      width = std::max(width, short_name(part).size());
  std::string lines = lines_of_rings(parts, width) + lines_of_arrays(parts, width);
  for (const scdb::Part &part : parts)
    if (part.kind == Kind::registers)
      lines += line_of("register", short_name(part), width, count_of(part.entries, "register", "registers"), part.note);
  return lines;
}

std::string line_of_board(unsigned board, const std::vector<scdb::Chip> &chips) {
  std::string line = fmt::format("board {:<2}", board);
  for (const scdb::ChipKindInfo &kind : scdb::CHIP_KINDS) {
    macro_word numbers = 0;
    for (const scdb::Chip chip : chips)
      if (chip.board == board && chip.kind == kind.kind)
        numbers |= macro_word{1} << chip.number;
    if (numbers != 0)
      line += fmt::format("  {} {}", kind.name, list_of_bits(numbers));
  }
  return line + "\n";
}

macro_word boards_of(const std::vector<scdb::Chip> &chips) {
  macro_word boards = 0;
  for (const scdb::Chip chip : chips)
    boards |= macro_word{1} << chip.board;
  return boards;
}

std::string machine_page(const std::vector<scdb::Chip> &chips, const MachineInfo &machine) {
  std::string text = label_of(machine) + "\n";
  for (unsigned board = 0; board < scdb::BOARDS; ++board)
    if ((boards_of(chips) >> board & 1) != 0)
      text += line_of_board(board, chips);
  for (const Group &group : groups_of(chips))
    text +=
        fmt::format("\n{}  {}\n{}", describe(group.chips.words()), scdb::info(group.kind).title, lines_of(group.parts));
  return text;
}

Json json_of_chip(scdb::Chip chip) {
  Json rings = Json::array();
  Json arrays = Json::array();
  Json registers = Json::array();
  for (const scdb::Part &part : scdb::machine().parts(chip))
    if (part.kind == Kind::ring)
      rings.push_back({{"ring", fmt::format("0x{:02X}", part.ring)}, {"bits", part.entries}, {"note", part.note}});
    else
      (part.kind == Kind::array ? arrays : registers)
          .push_back({{"name", short_name(part)}, {"entries", part.entries}, {"note", part.note}});
  return {{"chip", scdb::to_string(chip)},
          {"kind", scdb::info(chip.kind).name},
          {"rings", std::move(rings)},
          {"arrays", std::move(arrays)},
          {"registers", std::move(registers)}};
}

Json json_of_machine(const std::vector<scdb::Chip> &chips, const MachineInfo &machine) {
  Json boards = Json::array();
  for (unsigned board = 0; board < scdb::BOARDS; ++board) {
    Json on_board = Json::array();
    for (const scdb::Chip chip : chips)
      if (chip.board == board)
        on_board.push_back(json_of_chip(chip));
    if (!on_board.empty())
      boards.push_back({{"board", board}, {"chips", std::move(on_board)}});
  }
  return {{"machine", json_of(machine)}, {"boards", std::move(boards)}};
}

ExitStatus units(const UnitsOptions &options) {
  BenchInUse bench{options.common};
  const std::vector<scdb::Chip> chips = wanted_chips(*bench, options);
  write_output(options.common.json ? json_of_machine(chips, bench->machine_info()).dump(2) + "\n"
                                   : machine_page(chips, bench->machine_info()));
  return ExitStatus::ok;
}

}  // namespace

void add_units(Command &program, Action &action) {
  Command *const command = program.add_command(
      "units", {.summary = "Show what a machine consists of: boards, chips, rings, arrays, registers",
                .examples = {"mcrhost units", "mcrhost units cpu:0.0", "mcrhost units --machine large --json"},
                .paragraphs = {"Chips that consist of the same parts are shown once."}});
  const auto options = std::make_shared<UnitsOptions>();
  command->add("UNIT", options->unit, Takes::unit, "Show these chips only, for example cpu:0.1 or mac");
  add_machine_options(*command, options->common);
  command->callback([options, &action] { action = [options] { return units(*options); }; });
}

}  // namespace host
