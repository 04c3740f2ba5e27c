#include "machines/simulated/description.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "machines/simulated/description_reader.hpp"
#include "machines/simulated/embedded_machines.hpp"

namespace simulated {
namespace {

using scdb::CHIP_KINDS;
using scdb::MachineError;

constexpr unsigned MOST_BASES = 8;
constexpr std::size_t LONGEST_RING = std::size_t{SCANBUFFER_WORDS} * 32;
constexpr std::string_view BUILT_IN = "built-in machine ";
/// The largest description that is read: far beyond any that says something, and an end to what has none.
constexpr std::size_t LARGEST = std::size_t{16} << 20;

Description read_at_depth(std::string_view text, const std::string &origin, unsigned depth) {
  Description description;
  DescriptionReader{origin, description, depth}.read(text);
  return description;
}

std::string text_of_file(const std::string &path) {
  std::error_code error;
  std::ifstream file;
  errno = 0;
  if (std::filesystem::is_directory(path, error))
    errno = EISDIR;
  else
    file.open(path, std::ios::binary);
  if (!file.is_open())
    throw MachineError(fmt::format("machine description {}: {}", path, std::strerror(errno)));
  std::string text;
  // A device may have no end.
  for (std::array<char, 65536> chunk; file && text.size() <= LARGEST;) {
    file.read(chunk.data(), chunk.size());
    text.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (text.size() > LARGEST)
    throw MachineError(fmt::format("machine description {}: {}", path, std::strerror(EFBIG)));
  return text;
}

/// A description's text, and what error messages call it.
struct Source {
  std::string text;
  std::string origin;
};

/// @param folder where a relative path starts from; empty for the current folder.
Source find_source(const std::string &name, const std::filesystem::path &folder) {
  const std::filesystem::path path = folder / name;
  if (name.find_first_of("/.") == std::string::npos) {
    std::vector<std::string_view> names;
    for (const toml_file::Embedded &file : embedded_machines()) {
      if (file.name == name)
        return {std::string{file.text}, fmt::format("{}{}", BUILT_IN, name)};
      names.push_back(file.name);
    }
    std::error_code error;
    if (!std::filesystem::exists(path, error))
      throw MachineError(fmt::format("no machine '{}': there is no such file, and the built-in machines are {}", name,
                                     fmt::join(names, ", ")));
  }
  return {text_of_file(path.string()), path.string()};
}

}  // namespace

std::exception_ptr DescriptionReader::error(const std::string &message) const {
  return std::make_exception_ptr(MachineError(message));
}

void DescriptionReader::read(std::string_view source) {
  const toml::table root = parse(source);
  std::vector<std::string_view> accepted{"base",  "name",  "broadcast", "seed", "boards",
                                         "chips", "board", "chip",      "fault"};
  for (const Kind &kind : CHIP_KINDS)
    accepted.push_back(kind.name);
  check_keys(root, accepted);

  // What the text says goes on top of what its base says, whatever the order of its keys.
  if (const toml::node *node = root.get("base"))
    read_base(*node);
  if (const toml::node *node = root.get("name"))
    into_.name = text(*node, "name");
  if (const toml::node *node = root.get("seed"))
    into_.seed = word(*node, "seed");
  if (const toml::node *node = root.get("broadcast"))
    into_.broadcast = boolean(*node, "broadcast");
  if (const toml::node *node = root.get("boards"))
    read_boards(*node);
  if (const toml::node *node = root.get("chips"))
    read_chips(table(*node, "chips"), into_.chips);
  if (const toml::node *node = root.get("board"))
    each_table(*node, "board", [this](const toml::table &board) { read_board(board); });
  for (const Kind &kind : CHIP_KINDS)
    if (const toml::node *node = root.get(kind.name))
      read_kind(kind, table(*node, kind.name));
  if (const toml::node *node = root.get("chip"))
    each_table(*node, "chip", [this](const toml::table &chip) { read_chip(chip); });
  if (const toml::node *node = root.get("fault"))
    each_table(*node, "fault", [this](const toml::table &fault) { read_fault(fault); });

  if (into_.name.empty())
    fail_at({1, 1}, "the machine has no name: write name = \"...\"");
  bool any = false;
  for (unsigned board = 0; board < scdb::BOARDS; ++board)
    for (const Kind &kind : CHIP_KINDS)
      any |= into_.chips_on(board, kind.kind) != 0;
  if (!any)
    fail_at({1, 1}, "the machine has no chip: write boards = 2 and a table [chips]");
}

void DescriptionReader::read_base(const toml::node &node) {
  const std::string &name = text(node, "base");
  if (depth_ == MOST_BASES)
    fail(node, fmt::format("more than {} descriptions rest on one another; is one of them its own base?", MOST_BASES));
  const std::filesystem::path folder =
      origin().starts_with(BUILT_IN) ? std::filesystem::path{} : std::filesystem::path{origin()}.parent_path();
  Source base;
  try {
    base = find_source(name, folder);
  } catch (const MachineError &error) {
    fail(node, error.what());
  }
  into_ = read_at_depth(base.text, base.origin, depth_ + 1);
}

void DescriptionReader::read_boards(const toml::node &node) {
  into_.boards.reset();
  if (!node.is_array()) {
    const std::int64_t count = integer(node, "boards, when it is no list of board numbers,", 1, scdb::BOARDS);
    for (std::int64_t board = 0; board < count; ++board)
      into_.boards.set(static_cast<std::size_t>(board));
    return;
  }
  for (const toml::node &element : *node.as_array())
    into_.boards.set(static_cast<std::size_t>(integer(element, "a board's number", 0, scdb::BOARDS - 1)));
}

void DescriptionReader::read_chips(const toml::table &table, Description::PerKind &chips) const {
  for (const Kind &kind : CHIP_KINDS)
    if (const toml::node *node = table.get(kind.name))
      chips[static_cast<std::size_t>(kind.kind)] =
          static_cast<unsigned>(integer(*node, fmt::format("{} chips of a board", kind.name), 0, kind.limit));
  std::vector<std::string_view> accepted;
  accepted.reserve(CHIP_KINDS.size() + 1);
  for (const Kind &kind : CHIP_KINDS)
    accepted.emplace_back(kind.name);
  if (&chips != &into_.chips)
    accepted.emplace_back("number");
  check_keys(table, accepted);
}

void DescriptionReader::read_board(const toml::table &table) {
  const toml::node *node = table.get("number");
  if (node == nullptr)
    fail(table, "which board? write number = 0 to 15");
  const auto number = static_cast<std::size_t>(integer(*node, "a board's number", 0, scdb::BOARDS - 1));
  if (!into_.boards[number])
    fail(*node, fmt::format("the machine has no board {}", number));
  read_chips(table, into_.board_chips[number]);
}

void DescriptionReader::read_kind(const Kind &kind, const toml::table &table) {
  for (const auto &[key, node] : table) {
    if (key.str() == "rings")
      read_rings(kind, this->table(node, "rings"));
    else
      read_setting({kind.kind, {}, {}}, key.str(), node);
  }
}

void DescriptionReader::read_rings(const Kind &kind, const toml::table &table) {
  for (const auto &[key, node] : table) {
    const std::optional<macro_word> code = number_in(key.str());
    if (!code || *code > 0xFF)
      fail_at(key.source().begin, fmt::format("unknown key '{}'; accepted here: ring codes from 0 to 0xFF", key.str()));
    into_.rings[static_cast<std::size_t>(kind.kind)][*code] =
        static_cast<std::size_t>(integer(node, "a ring's length in bits", 0, static_cast<std::int64_t>(LONGEST_RING)));
  }
}

void DescriptionReader::read_setting(const Selector &chips, std::string_view name, const toml::node &node) {
  const std::span<const ChipParameter> parameters = blueprint(chips.kind).parameters;
  const auto at = std::ranges::find(parameters, name, &ChipParameter::name);
  if (name == "seed") {
    into_.settings.push_back({chips, "seed", word(node, "seed")});
  } else if (at != parameters.end()) {
    into_.settings.push_back({chips, std::string{name}, integer(node, name, at->least, at->most)});
  } else {
    std::vector<std::string_view> accepted{"seed"};
    if (!chips.board && !chips.number)
      accepted.emplace_back("rings");
    for (const ChipParameter &parameter : parameters)
      accepted.emplace_back(parameter.name);
    fail(node, fmt::format("unknown key '{}' of {} chips; accepted here: {}", name, scdb::info(chips.kind).name,
                           fmt::join(accepted, ", ")));
  }
}

void DescriptionReader::read_chip(const toml::table &table) {
  const toml::node *chip = table.get("chip");
  if (chip == nullptr)
    fail(table, "which chip? write chip = \"KIND:BOARD.CHIP\"");
  const Selector chips = selector(*chip);
  for (const auto &[key, node] : table)
    if (key.str() != "chip")
      read_setting(chips, key.str(), node);
}

unsigned Description::chips_on(unsigned board, scdb::ChipKind kind) const {
  const auto index = static_cast<std::size_t>(kind);
  return boards[board] ? board_chips[board][index].value_or(chips[index].value_or(0)) : 0;
}

bool Description::has(scdb::Chip chip) const {
  return chip.board < scdb::BOARDS && chip.number < chips_on(chip.board, chip.kind);
}

Description read_description(std::string_view text, const std::string &origin) {
  return read_at_depth(text, origin, 0);
}

Description find_description(const std::string &name) {
  const Source source = find_source(name.empty() ? "default" : name, {});
  return read_description(source.text, source.origin);
}

}  // namespace simulated
