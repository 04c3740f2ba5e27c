#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "engine/report/run_report.hpp"
#include "engine/run/explain.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/ring_file.hpp"
#include "engine/unit/ring_place.hpp"
#include "host/command/commands.hpp"
#include "host/command/direct.hpp"
#include "host/command/output.hpp"
#include "scdb/access.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"

namespace host {
namespace {

/// The most ring bit addresses that a primitive can need, one for each bit of the mask.
using Addresses = std::array<macro_word, 32>;
using EachAddress = std::make_index_sequence<std::tuple_size_v<Addresses>>;

struct RingOptions {
  DirectOptions direct;
  std::string ring;
  std::vector<std::string> places;
  std::string place;
  std::string word;
  std::string file;
};

RingShape shape_of(scdb::Chip chip, macro_word ring) {
  return {chip.kind, ring, scdb::machine().ring_bits(chip, ring)};
}

/// Whether the chip has the ring and a scan buffer holds it; where not, a scan tells what is wrong.
bool can_be_scanned(const RingShape &shape) {
  return shape.bits != 0 && words_of(shape) <= SCANBUFFER_WORDS;
}

/// Moves the whole ring from or to the scan buffer.
bool scan(ChipCall &call, macro_word mode, macro_word ring) {
  const scdb::Unit unit = call.unit.words();
  lmcr_scan(mode, MACRO_ALL, MACRO_ALL, MACRO_ALL, ring, _SCANBUFFER, 1, &_RETURN, call.record.data(), unit.type,
            unit.number, unit.mring);
  return succeeded();
}

Addresses addresses_of(const RingPlace &place) {
  Addresses addresses{};
  std::ranges::copy(place.addresses, addresses.begin());
  return addresses;
}

// The primitives take addresses until these have named the bits of the mask; what follows is not looked at.
template <std::size_t... I>
macro_word extract(ChipCall &call, const RingPlace &place, std::index_sequence<I...> /*each*/) {
  const Addresses addresses = addresses_of(place);
  return lmcr_sout(_SCANBUFFER, call.record.data(), &_RETURN, ones(place.length), addresses[I]...);
}

template <std::size_t... I>
void insert(ChipCall &call, const RingPlace &place, macro_word word, std::index_sequence<I...> /*each*/) {
  const Addresses addresses = addresses_of(place);
  lmcr_sin(_SCANBUFFER, call.record.data(), &_RETURN, word, ones(place.length), addresses[I]...);
}

void check_place(const RingShape &shape, const RingPlace &place) {
  if (shape.bits != 0 && place.last >= shape.bits)
    throw InputError(fmt::format("ring bits '{}': ring 0x{:02X} of {} has the bits 0 to {}", place.name, shape.ring,
                                 scdb::info(shape.kind).name, shape.bits - 1));
}

Answer show(ChipCall &call, macro_word ring) {
  if (!scan(call, scdb::SCAN_READ, ring))
    return {};
  return {{_SCANBUFFER, _SCANBUFFER + words_of(shape_of(call.chip, ring))}, {}, {}};
}

Answer get(ChipCall &call, macro_word ring, const std::vector<RingPlace> &places) {
  for (const RingPlace &place : places)
    check_place(shape_of(call.chip, ring), place);
  Answer answer;
  if (!scan(call, scdb::SCAN_READ, ring))
    return answer;
  for (const RingPlace &place : places) {
    answer.words.push_back(extract(call, place, EachAddress{}));
    answer.names.push_back(place.name);
  }
  return answer;
}

Answer set(ChipCall &call, macro_word ring, const RingPlace &place, macro_word word) {
  check_place(shape_of(call.chip, ring), place);
  if (!scan(call, scdb::SCAN_READ, ring))
    return {};
  insert(call, place, word, EachAddress{});
  if (!succeeded() || !scan(call, scdb::SCAN_WRITE, ring))
    return {};
  return {{}, {}, "written"};
}

Answer save(ChipCall &call, macro_word ring, const std::string &path) {
  if (!scan(call, scdb::SCAN_READ, ring))
    return {};
  const RingShape shape = shape_of(call.chip, ring);
  write_ring_file(path, shape, {_SCANBUFFER, words_of(shape)});
  return {{}, {}, fmt::format("{} saved in '{}'", describe(shape), path)};
}

Answer restore(ChipCall &call, macro_word ring, const std::string &path) {
  const RingShape shape = shape_of(call.chip, ring);
  if (can_be_scanned(shape))
    std::ranges::copy(read_ring_file(path, shape), _SCANBUFFER);
  if (!scan(call, scdb::SCAN_WRITE, ring))
    return {};
  return {{}, {}, fmt::format("{} restored from '{}'", describe(shape), path)};
}

macro_word ring_of(const RingOptions &options) {
  return parse_in_range(options.ring, "RING", 0, scdb::LAST_CODE);
}

/// One thing that can be done to a ring.
struct Task {
  std::string title;
  ChipAccess access;
  Chips chips = Chips::any;
};

Task show_task(const RingOptions &options) {
  const macro_word ring = ring_of(options);
  return {fmt::format("ring show 0x{:02X}", ring), [=](ChipCall &call) { return show(call, ring); }};
}

Task get_task(const RingOptions &options) {
  const macro_word ring = ring_of(options);
  std::vector<RingPlace> places;
  for (const std::string &text : options.places)
    places.push_back(parse_ring_place(text, ring));
  return {fmt::format("ring get 0x{:02X}", ring), [=](ChipCall &call) { return get(call, ring, places); }};
}

Task set_task(const RingOptions &options) {
  const macro_word ring = ring_of(options);
  const RingPlace place = parse_ring_place(options.place, ring);
  const macro_word word = parse_word(options.word, "WORD");
  if (word > ones(place.length))
    throw InputError(fmt::format("WORD: {} does not fit into the {} bit{} of '{}'; give 0 to 0x{:X}", options.word,
                                 place.length, place.length == 1 ? "" : "s", place.name, ones(place.length)));
  return {fmt::format("ring set 0x{:02X} {} {}", ring, place.name, hex(word)),
          [=](ChipCall &call) { return set(call, ring, place, word); }};
}

Task save_task(const RingOptions &options) {
  const macro_word ring = ring_of(options);
  return {fmt::format("ring save 0x{:02X}", ring), [=](ChipCall &call) { return save(call, ring, options.file); },
          Chips::one};
}

Task restore_task(const RingOptions &options) {
  const macro_word ring = ring_of(options);
  return {fmt::format("ring restore 0x{:02X}", ring),
          [=](ChipCall &call) { return restore(call, ring, options.file); }};
}

/// What is given besides the ring.
enum class Besides : std::uint8_t { nothing, places, place_and_word, file };

struct RingPart {
  const char *name;
  const char *help;
  Task (*task)(const RingOptions &);
  Besides arguments;
};
constexpr std::array PARTS{
    RingPart{"show", "Show a whole ring, in words", show_task, Besides::nothing},
    RingPart{"get", "Show single bits and fields", get_task, Besides::places},
    RingPart{"set", "Change a field, and nothing else of the ring", set_task, Besides::place_and_word},
    RingPart{"save", "Save a ring of one chip in a file: big-endian words, or text where its name ends with .txt",
             save_task, Besides::file},
    RingPart{"restore", "Write a ring from a file that 'ring save' wrote", restore_task, Besides::file},
};

constexpr const char *PLACE_HELP =
    "Bits of the ring: 197 is one, 2698+8 are eight from there on, 231-200 those from the one to the other, the first "
    "being the most significant; above 0x7FFFF a ring bit address";

void add_arguments(Command &command, RingOptions &options, Besides arguments) {
  command.add("RING", options.ring, Takes::ring, "Ring code, 0 to 0xFF")->required();
  if (arguments == Besides::places)
    command.add("BITS", options.places, Takes::ring_bits, PLACE_HELP)->required();
  if (arguments == Besides::place_and_word) {
    command.add("BITS", options.place, Takes::ring_bits, PLACE_HELP)->required();
    command.add("WORD", options.word, Takes::word, "Their new value")->required();
  }
  if (arguments == Besides::file)
    command.add("FILE", options.file, Takes::file, "File that keeps the ring")->required();
}

void add(Command &group, Action &action, const RingPart &row) {
  Command *const command = group.add_command(row.name, {.summary = row.help});
  const auto options = std::make_shared<RingOptions>();
  add_arguments(*command, *options, row.arguments);
  add_direct_options(*command, options->direct);
  command->callback([options, &row, &action] {
    action = [options, &row] {
      const Task task = row.task(*options);
      return access_chips(options->direct, task.title, task.access, task.chips);
    };
  });
}

/// Puts back what rings held that a run of this process left open: the machine that it worked on is still there.
ExitStatus restore_open(const CommonOptions &options) {
  BenchInUse bench{options};
  const std::vector<RingLeft> rings = bench->restore_rings();
  std::string text = fmt::format("ring restore-open  on {}\n", label_of(bench->machine_info()));
  bool all_restored = true;
  for (const RingLeft &left : rings) {
    const std::string why = left.reason == scdb::Reason::none ? "" : fmt::format(": {}", scdb::title_of(left.reason));
    text += fmt::format("{}  ring 0x{:02X} {}{}\n", scdb::to_string(left.ring.chip), left.ring.ring, name_of(left.fate),
                        why);
    all_restored = all_restored && left.fate == RingLeft::Fate::restored;
  }
  if (rings.empty())
    text += "no ring is open\n";
  bench->keep_state();
  write_output(text);
  return all_restored ? ExitStatus::ok : ExitStatus::failed;
}

}  // namespace

void add_ring(Command &program, Action &action) {
  Command *const group = program.add_command(
      "ring",
      {.summary = "Work on the scan rings of chips: show, get, set, save, restore, restore-open",
       .examples = {"mcrhost ring show 0x56 --unit cpu:0.0", "mcrhost ring get 0x3C 197 2698+8 231-200 --unit cpu",
                    "mcrhost ring get 0x3D 0x71E80A8A --unit cpu:0.0",
                    "mcrhost ring set 0x3C 2698+8 0xA5 --unit cpu:0.0 --state bench.state",
                    "mcrhost ring save 0x3C before.ring --unit cpu:0.0 --state bench.state",
                    "mcrhost ring restore 0x3C before.ring --unit cpu:0.0 --state bench.state"},
       .endings = DIRECT_ENDINGS});
  group->require_subcommand(1);
  for (const RingPart &row : PARTS)
    add(*group, action, row);
  group->add_command("restore-open", {.summary = "In the shell: put back what rings held that a run left open"})
      ->callback([&action, shell = program.shell()] {
        CommonOptions options;
        options.shell = shell;
        action = [options] { return restore_open(options); };
      });
}

}  // namespace host
