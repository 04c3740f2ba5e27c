#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <tuple>

#include "commands.hpp"
#include "output.hpp"
#include "report.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"
#include "selection.hpp"
#include "words.hpp"

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

bool selects(const Selection &selection, scdb::Chip chip) {
  return selection.type == scdb::unit_type_of(chip.kind) && (selection.number >> chip.board & 1) != 0
         && (selection.mring[chip.board] & scdb::chip_bit(chip.kind, chip.number)) != 0;
}

/// The chips of the machine, or those of a unit.
std::vector<scdb::Chip> wanted_chips(const UnitsOptions &options) {
  std::vector<scdb::Chip> chips = scdb::machine().chips();
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

std::string count_of(std::size_t count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
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

std::string lines_of(const std::vector<scdb::Part> &parts) {
  std::size_t width = std::string_view{"0x30-0x3F"}.size();
  for (const scdb::Part &part : parts)
    if (part.kind != Kind::ring)
      width = std::max(width, short_name(part).size());
  std::string lines = lines_of_rings(parts, width);
  for (const scdb::Part &part : parts)
    if (part.kind == Kind::array)
      lines += line_of("array", short_name(part), width, count_of(part.entries, "entry", "entries"), part.note);
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

std::string text_of(const std::vector<scdb::Chip> &chips) {
  std::string text = label_of(current_machine()) + "\n";
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

Json json_of_machine(const std::vector<scdb::Chip> &chips) {
  Json boards = Json::array();
  for (unsigned board = 0; board < scdb::BOARDS; ++board) {
    Json on_board = Json::array();
    for (const scdb::Chip chip : chips)
      if (chip.board == board)
        on_board.push_back(json_of_chip(chip));
    if (!on_board.empty())
      boards.push_back({{"board", board}, {"chips", std::move(on_board)}});
  }
  return {{"machine", json_of(current_machine())}, {"boards", std::move(boards)}};
}

ExitStatus units(const UnitsOptions &options) {
  open_machine(options.common);
  const std::vector<scdb::Chip> chips = wanted_chips(options);
  write_output(options.common.json ? json_of_machine(chips).dump(2) + "\n" : text_of(chips));
  return ExitStatus::ok;
}

}  // namespace

void add_units(CLI::App &app, Action &action) {
  CLI::App *const command =
      app.add_subcommand("units", "Show what a machine consists of: boards, chips, rings, arrays, registers");
  const auto options = std::make_shared<UnitsOptions>();
  command->add_option("UNIT", options->unit, "Show these chips only, for example cpu:0.1 or mac")->option_text(" ");
  add_machine_options(*command, options->common);
  command->footer(
      "Examples:\n"
      "  mcrhost units\n"
      "  mcrhost units cpu:0.0\n"
      "  mcrhost units --machine large --json\n"
      "\n"
      "Chips that consist of the same parts are shown once.");
  command->callback([options, &action] { action = [options] { return units(*options); }; });
}

}  // namespace host
