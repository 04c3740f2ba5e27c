#include "machines/simulated/cpu_ports.hpp"

#include <fmt/format.h>

#include <array>
#include <bit>

#include "machines/simulated/cpu_clock.hpp"

namespace simulated::ports {
namespace {

// A command word for a port: bit 31 with a pattern for the port's logic, bit 28 to read the RAM, the port in bits
// 18-19, bit 10, and the operation in the lowest four bits, bit 0 being the least significant.
constexpr macro_word PORT_COMMAND = 0x400;
constexpr macro_word LOGIC = 0x80000000;
constexpr macro_word RAM_READ = 0x10000000;
constexpr macro_word OPERATION = 0xF;
constexpr macro_word COMMAND_BITS = ~(macro_word{PORTS - 1} << 18 | OPERATION);
constexpr macro_word IDENTIFY = 1;
constexpr macro_word SELECT_ENTRIES = 2;
constexpr macro_word INDEX = 3;
constexpr macro_word RAM_GROUP_0 = 8;  ///< to 15 for group 7

constexpr unsigned GROUPS = 8;
constexpr unsigned GROUP_BITS = 80;
constexpr unsigned RAM_ENTRIES = 1024;
constexpr unsigned RAM_ENTRY_WORDS = GROUPS * GROUP_BITS / 32;
constexpr unsigned TABLE_ENTRIES = 64;
constexpr macro_word BYTE = 0xFF;

/// A ring through which a port's RAM is controlled, and the ring in which the data then appear.
struct ControlRing {
  unsigned control;
  unsigned port;
  unsigned data;
};
constexpr ControlRing CONTROL_RINGS[] = {
    {51, 0, 48}, {55, 1, 52}, {59, 2, 56}, {63, 3, 60},  // each port's own
    {58, 0, 48}, {59, 1, 51},                            // the second ways to ports 0 and 1
};

/// Eight data bits and, below them, their parity.
constexpr unsigned LANES = 4;
constexpr unsigned LANE_BITS = 9;
constexpr unsigned FIRST_WORD = 15030;
constexpr unsigned SECOND_WORD = FIRST_WORD + LANES * LANE_BITS;

constexpr unsigned SELECTORS = 6;

// The RAM's groups as they stand in the rings: 64 bits down from the last position, 16 gaps, 16 bits up from the first.
constexpr unsigned GROUP_SPAN = 96;
constexpr unsigned DATA_GROUP_0 = 26642;
constexpr unsigned CONTROL_GROUP_0 = 4114;
constexpr unsigned PIECE_BITS = 16;
constexpr unsigned PIECES = GROUP_BITS / PIECE_BITS;
constexpr unsigned RAM_ADDRESS[] = {4027, 4026, 4042, 4041, 4040, 4039, 4038, 4037, 4035, 4034};
constexpr unsigned GROUP_0_WRITES = 4048;    ///< and up from there: 1 = the group is written, 0 = read
constexpr unsigned GROUP_0_DISABLED = 4064;  ///< and down from there

constexpr LinkRow LINK_ROWS[] = {{0x80000000, 58, 0}, {0x40000000, 61, 256}};
constexpr unsigned TRAINING_RING = 92;
constexpr unsigned DRIVER = 5127;
constexpr unsigned LINK_LANES = 8;
constexpr unsigned LANES_ENABLED = 23;
constexpr unsigned LANES_RECEIVED = 39;
constexpr unsigned LOCKED = 40;
constexpr macro_word SETTLING = 1000;  ///< microseconds, of a reset and of a start
constexpr macro_word IDLE = 0;
constexpr macro_word RESET = 1;
constexpr macro_word STARTED = 2;

/// The order of the bits of a word turned round.
constexpr macro_word reverse(macro_word word) {
  word = (word & 0x55555555) << 1 | (word >> 1 & 0x55555555);
  word = (word & 0x33333333) << 2 | (word >> 2 & 0x33333333);
  word = (word & 0x0F0F0F0F) << 4 | (word >> 4 & 0x0F0F0F0F);
  word = (word & 0x00FF00FF) << 8 | (word >> 8 & 0x00FF00FF);
  return word << 16 | word >> 16;
}

constexpr macro_word odd_parity(macro_word byte) {
  return (std::popcount(byte) & 1) == 0 ? 1 : 0;
}

}  // namespace

MemoryPorts::MemoryPorts(State &state) {
  for (unsigned i = 0; i < rings_.size(); ++i)
    rings_[i] = state.find(fmt::format("ring {}", FIRST_RING + i));
  training_ring_ = state.find(fmt::format("ring {}", TRAINING_RING));
  training_control_ = state.find(fmt::format("register {}", clock::CONTROL_3.name)).value();

  for (unsigned port = 0; port < PORTS; ++port) {
    rams_[port] = state.add(
        array_layout(fmt::format("port {} ram", port), RAM_ENTRIES, RAM_ENTRY_WORDS, "eight groups of 80 bits"));
    Layout table = array_layout(fmt::format("port {} entries", port), TABLE_ENTRIES, 1, "the entries' contents");
    table.mask = BYTE;
    tables_[port] = state.add(std::move(table));
  }
  const auto add_register = [&state](std::string_view name, unsigned entries, std::string_view note) {
    Layout layout = register_layout(name, entries, note);
    layout.reset = 0;
    return state.add(std::move(layout));
  };
  controls_ = add_register("port control rings", PORTS, "the control ring that was written last");
  link_phase_ = add_register("link phase", 1, "0 = idle, 1 = reset, 2 = started");
  link_time_ = add_register("link time", 1, "of the last phase, in microseconds");
}

// A value stands in one word of the ring or in two.  A ring may be shorter than it should be, or be missing: what lies
// beyond its end reads as 0 and takes nothing.

macro_word MemoryPorts::value(State &state, Ring ring, Bits bits) {
  const unsigned lowest = bits.lowest();
  std::uint64_t window = 0;
  for (const unsigned index : {lowest / 32, lowest / 32 + 1}) {
    const bool there = ring && index < state.cells()[*ring].size() && index * 32 < lowest + bits.count;
    window = window << 32 | (there ? state.read(*ring, index) : 0);
  }
  const auto left_aligned = static_cast<macro_word>(window << lowest % 32 >> 32);
  return bits.order == Bits::UP ? left_aligned >> (32 - bits.count)
                                : reverse(left_aligned) & MACRO_ALL >> (32 - bits.count);
}

void MemoryPorts::set_value(State &state, Ring ring, Bits bits, macro_word value) {
  const unsigned lowest = bits.lowest();
  const macro_word left_aligned = bits.order == Bits::UP ? value << (32 - bits.count) : reverse(value);
  const std::uint64_t put = std::uint64_t{left_aligned} << 32 >> lowest % 32;
  const std::uint64_t mask = std::uint64_t{~(MACRO_ALL >> 1 >> (bits.count - 1))} << 32 >> lowest % 32;
  for (const unsigned half : {0U, 1U}) {
    const auto taken = static_cast<macro_word>(mask >> (32 - half * 32));
    const unsigned index = lowest / 32 + half;
    if (taken == 0 || !ring || index >= state.cells()[*ring].size())
      continue;
    const macro_word held = state.cells()[*ring].get(index);
    state.write(*ring, index, (held & ~taken) | (static_cast<macro_word>(put >> (32 - half * 32)) & taken));
  }
}

bool MemoryPorts::bit(State &state, Ring ring, unsigned position) {
  return value(state, ring, {position, 1, Bits::UP}) != 0;
}

void MemoryPorts::set_bit(State &state, Ring ring, unsigned position, bool on) {
  set_value(state, ring, {position, 1, Bits::UP}, on ? 1 : 0);
}

bool MemoryPorts::command(State &state, macro_word word) const {
  const unsigned port = word >> 18 & (PORTS - 1);
  const macro_word operation = word & OPERATION;
  switch (word & COMMAND_BITS) {
    case LOGIC | PORT_COMMAND:
      if (operation == IDENTIFY)
        identify(state, port);
      if (operation == SELECT_ENTRIES)
        select_entries(state, port);
      if (operation == INDEX)
        index(state, port);
      return true;
    case PORT_COMMAND:
    case RAM_READ | PORT_COMMAND:
      if (operation >= RAM_GROUP_0)
        access_ram(state, port, operation - RAM_GROUP_0, (word & RAM_READ) != 0);
      return true;
    default:
      return false;
  }
}

/// The identifier goes out on the selected lane of the first word, and inverted on that of the second.
void MemoryPorts::identify(State &state, unsigned port) const {
  const Ring of_port = ring(48 + 4 * port);
  const unsigned selection = value(state, of_port, {15028, 2, Bits::UP});
  const macro_word identifier = value(state, of_port, {18477, 8, Bits::UP});
  for (unsigned lane = 0; lane < LANES; ++lane) {
    const macro_word byte = lane == selection ? identifier : 0;
    for (const auto &[base, sent] : {std::pair{FIRST_WORD, byte}, std::pair{SECOND_WORD, byte ^ BYTE}}) {
      const unsigned parity = base + lane * LANE_BITS;
      set_value(state, of_port, {parity + 8, 8, Bits::DOWN}, sent);
      set_bit(state, of_port, parity, odd_parity(sent) != 0);
    }
  }
}

/// Each of six selectors shows the entry that it selects: its contents, its number, and that it was selected.
void MemoryPorts::select_entries(State &state, unsigned port) const {
  const Ring of_port = ring(48 + 4 * port);
  if (bit(state, of_port, 13197))  // inhibited
    return;
  for (unsigned i = 0; i < SELECTORS; ++i) {
    const macro_word number = value(state, of_port, {13203 + 6 * i, 6, Bits::DOWN});
    const unsigned answer = 13248 + 16 * i;
    set_value(state, of_port, {answer + 7, 8, Bits::DOWN}, state.read(tables_[port], number));
    set_value(state, of_port, {answer + 13, 6, Bits::DOWN}, number);
    set_bit(state, of_port, answer + 15, true);
  }
}

/// Two counters take the index, each with its mark above it; the second one counts downwards.
void MemoryPorts::index(State &state, unsigned port) const {
  const Ring of_port = ring(48 + 4 * port);
  const macro_word number = value(state, of_port, {16232, 5, Bits::DOWN});
  const macro_word mark_a = bit(state, of_port, 15967) ? 0x20 : 0;
  const macro_word mark_b = bit(state, of_port, 15968) ? 0x20 : 0;
  set_value(state, of_port, {17519, 6, Bits::DOWN}, mark_a | number);
  set_value(state, of_port, {17105, 6, Bits::DOWN}, ~(mark_b | number) & 0x3F);
}

/// Moves a group of the addressed entry, if it is enabled and set to the direction of the command.
void MemoryPorts::access_ram(State &state, unsigned port, unsigned group, bool reads) const {
  const ControlRing *way = nullptr;
  for (const ControlRing &row : CONTROL_RINGS)
    if (row.port == port && (way == nullptr || row.control == state.read(controls_, port)))
      way = &row;
  const Ring control = ring(way->control);
  const Ring data = ring(way->data);
  if (bit(state, control, GROUP_0_DISABLED - group) || bit(state, control, GROUP_0_WRITES + group) == reads)
    return;
  unsigned address = 0;
  for (const unsigned position : RAM_ADDRESS)
    address = address << 1 | (bit(state, control, position) ? 1 : 0);
  // A group begins at the upper or at the lower half of a word; its words are accessed once each.
  const std::size_t index = std::size_t{address} * RAM_ENTRY_WORDS + group * GROUP_BITS / 32;
  std::array<macro_word, (GROUP_BITS + 31) / 32> words{};
  for (std::size_t i = 0; i < words.size(); ++i)
    words[i] = reads ? state.read(rams_[port], index + i) : state.cells()[rams_[port]].get(index + i);
  for (unsigned piece = 0; piece < PIECES; ++piece) {
    const unsigned at = group * GROUP_BITS % 32 + piece * PIECE_BITS;
    const unsigned shift = 32 - PIECE_BITS - at % 32;
    macro_word &word = words[at / 32];
    const unsigned first = (reads ? DATA_GROUP_0 : CONTROL_GROUP_0) + group * GROUP_SPAN;
    const Bits place = piece + 1 < PIECES ? Bits{first + GROUP_SPAN - 1 - piece * PIECE_BITS, PIECE_BITS, Bits::DOWN}
                                          : Bits{first, PIECE_BITS, Bits::UP};
    if (reads) {
      set_value(state, data, place, ~(word >> shift));
    } else {
      const macro_word mask = MACRO_ALL >> (32 - PIECE_BITS) << shift;
      word = (word & ~mask) | value(state, control, place) << shift;
    }
  }
  if (!reads)
    for (std::size_t i = 0; i < words.size(); ++i)
      state.write(rams_[port], index + i, words[i]);
}

void MemoryPorts::ring_written(State &state, unsigned ring) const {
  for (const ControlRing &row : CONTROL_RINGS)
    if (row.control == ring)
      state.write(controls_, row.port, ring);
}

/// A reset stops the links, a restart starts them, and a sample shows what those in training receive.
void MemoryPorts::issued(State &state, unsigned code, std::uint64_t now) const {
  const auto time = static_cast<macro_word>(now);
  const auto settled_in = [&](macro_word phase) {
    return state.read(link_phase_, 0) == phase && time - state.read(link_time_, 0) >= SETTLING;
  };
  const auto enter = [&](macro_word phase) {
    state.write(link_phase_, 0, phase);
    state.write(link_time_, 0, time);
  };
  switch (code) {
    case clock::RESET_PULSE.write:
      enter(RESET);
      break;
    case clock::RESTART_PULSE.write:
      enter(settled_in(RESET) ? STARTED : IDLE);
      break;
    case SAMPLE:
      for (const LinkRow &link : LINK_ROWS)
        sample(state, link, settled_in(STARTED) && (state.read(training_control_, 0) & link.training) != 0);
      break;
    default:
      break;
  }
}

void MemoryPorts::sample(State &state, const LinkRow &link, bool locked) const {
  const macro_word enabled = value(state, training_ring_, {link.section + LANES_ENABLED, LINK_LANES, Bits::DOWN});
  const macro_word sent = value(state, ring(link.driver_ring), {DRIVER, LINK_LANES, Bits::DOWN});
  set_value(state, training_ring_, {link.section + LANES_RECEIVED, LINK_LANES, Bits::DOWN},
            locked ? sent & enabled : 0);
  set_bit(state, training_ring_, link.section + LOCKED, locked);
}

}  // namespace simulated::ports
