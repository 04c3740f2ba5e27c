#include "machines/simulated/cpu_arrays.hpp"

#include <algorithm>
#include <array>
#include <bit>

#include <fmt/format.h>

#include "machines/simulated/cpu_array_rows.hpp"

namespace simulated::arrays {
namespace {

// A command word for the arrays: bit 28 to read, an array unit in bits 12-16, and in the lowest bits either phase, bit
// 0 being the least significant.
constexpr macro_word READ = 0x10000000;
constexpr macro_word UNIT = 0x1F000;
constexpr macro_word ACCESS = 0x1FF;
constexpr macro_word LATCH_ADDRESS = 0x17F;

// Operand registers 22 and 23.
constexpr std::string_view OPERAND_BANK = "register operand 2-29";
constexpr unsigned FIRST_IN_BANK = 2;
constexpr macro_word OPENED = 0x80000000;
constexpr macro_word INVERTED = 0x40000000;

/// What the key latches of an array with a key must hold.
constexpr macro_word KEY = 0x5A96;

constexpr unsigned CORES = 2;
constexpr auto CORE_ROWS = [] {
  std::array<std::array<Row, std::size(CORE_SET)>, CORES> rows{};
  std::size_t i = 0;
  for (const Row &row : CORE_SET) {
    rows[0][i] = row;
    rows[1][i++] = row.of_core_1();
  }
  return rows;
}();

constexpr unsigned WORDS = 3;
/// The bits of an entry, its first the most significant bit of word 0.
using Entry = std::array<macro_word, WORDS>;

constexpr bool get(const Entry &entry, unsigned bit) {
  return (entry[bit / 32] >> (31 - bit % 32) & 1) != 0;
}
constexpr void set(Entry &entry, unsigned bit) {
  entry[bit / 32] |= macro_word{1} << (31 - bit % 32);
}

/// Column of the wide code for each of data bits 0 to 31: the check bits that it takes part in, check bit 0 the most
/// significant.  Data bit 32 + i has the two halves of column i exchanged.
constexpr std::uint8_t WIDE_COLUMNS[] = {
    0x85, 0x6B, 0x25, 0x9E, 0x45, 0x9B, 0x15, 0x6E, 0x8A, 0x67, 0x2A, 0x9D, 0x4A, 0x97, 0x1A, 0x6D,
    0x83, 0x4F, 0x2C, 0x1F, 0x8F, 0x43, 0x2F, 0x1C, 0x46, 0x98, 0x19, 0x62, 0x8C, 0x4C, 0x23, 0x13,
};
/// The same for the 11 data bits of the short code with its six check bits.
constexpr std::uint8_t SHORT_COLUMNS[] = {0x26, 0x32, 0x13, 0x0B, 0x2C, 0x29, 0x1C, 0x34, 0x16, 0x1A, 0x19};

/// Check bits that the front code and the short code hold inverted.
constexpr macro_word FRONT_INVERTED = 0x3C;
constexpr macro_word SHORT_INVERTED = 0x15;

/// Check bits of two data words, in the first eight bits of a word.
constexpr macro_word wide_check(macro_word high, macro_word low, macro_word inverted) {
  macro_word check = inverted;
  for (unsigned i = 0; i < 32; ++i) {
    const macro_word column = WIDE_COLUMNS[i];
    if ((high >> (31 - i) & 1) != 0)
      check ^= column;
    if ((low >> (31 - i) & 1) != 0)
      check ^= (column << 4 | column >> 4) & 0xFF;
  }
  return check << 24;
}

/// A short entry of the data in the first eleven bits of a word.
constexpr macro_word short_entry(macro_word data) {
  macro_word check = SHORT_INVERTED;
  for (unsigned i = 0; i < std::size(SHORT_COLUMNS); ++i)
    if ((data >> (31 - i) & 1) != 0)
      check ^= SHORT_COLUMNS[i];
  return (data & 0xFFE00000) | check << 15;
}

// Arrays power on with data from the seed and the check bits that belong to them.

template <macro_word INVERTED_BITS>
macro_word wide_contents(macro_word seed, std::size_t index) {
  const auto data = [seed](std::size_t word) { return mix(seed, static_cast<macro_word>(word)); };
  return index % WORDS < 2 ? data(index) : wide_check(data(index - 2), data(index - 1), INVERTED_BITS);
}

macro_word short_contents(macro_word seed, std::size_t index) {
  return short_entry(mix(seed, static_cast<macro_word>(index)));
}

Layout layout_of(const Row &row, const std::string &name) {
  Layout layout = array_layout(name, std::size_t{1} << row.address_bits(), row.code == Code::SHORT ? 1 : WORDS,
                               row.code == Code::SHORT ? "11 data and 6 check bits" : "64 data and 8 check bits");
  switch (row.code) {
    case Code::FRONT:
      layout.contents = wide_contents<FRONT_INVERTED>;
      break;
    case Code::BEHIND:
      layout.contents = wide_contents<0>;
      break;
    case Code::SHORT:
      layout.contents = short_contents;
      break;
  }
  return layout;
}

std::optional<State::Id> ring_of(const State &state, unsigned code) {
  return state.find(fmt::format("ring {}", code));
}

/// The latches of one ring; none beyond its end.
class RingLatches {
 public:
  RingLatches(State &state, State::Id ring) : state_{state}, ring_{ring} {}

  [[nodiscard]] bool get(unsigned position) const {
    return position < length() && (state_.read(ring_, position / 32) & bit(position)) != 0;
  }
  void set(unsigned position, bool value) {
    if (position >= length())
      return;
    const macro_word held = state_.cells()[ring_].get(position / 32);
    state_.write(ring_, position / 32, value ? held | bit(position) : held & ~bit(position));
  }
  [[nodiscard]] macro_word value(const Latches &latches) const {
    macro_word word = 0;
    for (unsigned i = 0; i < latches.bits; ++i)
      word = word << 1 | (get(latches.position(i)) ? 1 : 0);
    return word;
  }
  [[nodiscard]] macro_word value(const Strands &strands) const {
    macro_word word = 0;
    for (const Latches &latches : strands)
      word = word << latches.bits | value(latches);
    return word;
  }
  [[nodiscard]] bool any(const Strands &strands) const {
    return std::ranges::any_of(strands, [this](const Latches &latches) { return value(latches) != 0; });
  }
  [[nodiscard]] Entry entry(const Strands &strands) const {
    Entry entry{};
    unsigned bit = 0;
    for (const Latches &latches : strands)
      for (unsigned i = 0; i < latches.bits; ++i, ++bit)
        if (get(latches.position(i)))
          arrays::set(entry, bit);
    return entry;
  }
  void show(const Strands &strands, const Entry &entry, bool inverted) {
    unsigned bit = 0;
    for (const Latches &latches : strands)
      for (unsigned i = 0; i < latches.bits; ++i, ++bit)
        set(latches.position(i), arrays::get(entry, bit) != inverted);
  }

 private:
  [[nodiscard]] std::size_t length() const { return state_.cells()[ring_].layout().part.entries; }
  [[nodiscard]] static macro_word bit(unsigned position) { return macro_word{1} << (31 - position % 32); }

  State &state_;
  State::Id ring_;
};

Entry read_entry(State &state, State::Id cells, std::size_t number) {
  Entry entry{};
  const std::size_t words = state.cells()[cells].layout().entry_words;
  for (std::size_t i = 0; i < words; ++i)
    entry[i] = state.read(cells, number * words + i);
  return entry;
}

void write_entry(State &state, State::Id cells, std::size_t number, const Entry &entry) {
  const std::size_t words = state.cells()[cells].layout().entry_words;
  for (std::size_t i = 0; i < words; ++i)
    state.write(cells, number * words + i, entry[i]);
}

}  // namespace

MemoryArrays::MemoryArrays(State &state) {
  // The control latches of the arrays power on clear: no array is enabled for writing.
  for (const unsigned ring : CLEARED_RINGS)
    if (const std::optional<State::Id> id = ring_of(state, ring)) {
      Layout layout = state.cells()[*id].layout();
      layout.reset = 0;
      state.cells()[*id] = Cells{std::move(layout), 0};
    }
  for (const Row &row : FIRST_SET)
    add(state, row, std::string{row.name});
  for (unsigned core = 0; core < CORES; ++core)
    for (const Row &row : CORE_ROWS[core])
      add(state, row, fmt::format("core {} {}", core, row.name));
}

void MemoryArrays::add(State &state, const Row &row, const std::string &name) {
  const std::optional<State::Id> in = ring_of(state, row.in_ring);
  const std::optional<State::Id> address = ring_of(state, row.address_ring);
  const std::optional<State::Id> out = ring_of(state, row.out_ring);
  if (!in || !address || !out)
    return;  // a chip without these rings does not show its arrays
  Array array{&row, *in, *address, *out, ring_of(state, row.gate_ring), {}, state.add(layout_of(row, name)), {}};
  if (row.operand != 0)
    array.operand = state.find(OPERAND_BANK).value();
  if (row.two_phases || row.late) {
    Layout pending = row.two_phases ? register_layout(name + " address", 1, "latched by the first phase")
                                    : register_layout(name + " next", 1, "the entry that the next access shows");
    pending.reset = 0;
    array.pending = state.add(std::move(pending));
  }
  arrays_.push_back(array);
}

bool MemoryArrays::command(State &state, macro_word word) const {
  const bool reads = (word & READ) != 0;
  const macro_word unit = (word & UNIT) >> 12;
  switch (word & ~(READ | UNIT)) {
    case LATCH_ADDRESS:
      for (const Array &array : arrays_)
        if (array.row->unit == unit && array.row->two_phases)
          state.write(*array.pending, 0, RingLatches{state, array.address}.value(array.row->address));
      return true;
    case ACCESS:
      for (const Array &array : arrays_)
        if (array.row->unit == unit && answers(state, array))
          access(state, array, reads);
      return true;
    default:
      return false;
  }
}

macro_word MemoryArrays::operand(State &state, const Array &array) {
  return array.operand ? state.read(*array.operand, array.row->operand - FIRST_IN_BANK) : 0;
}

/// Whether nothing keeps the array from acting.
bool MemoryArrays::answers(State &state, const Array &array) {
  const Row &row = *array.row;
  const RingLatches control{state, array.address};
  if (control.get(row.hold) || (array.operand && (operand(state, array) & OPENED) == 0))
    return false;
  if (!row.key)
    return true;
  const macro_word key = control.value(row.key->key);
  const bool odd = (std::popcount(key) & 1) != static_cast<int>(control.get(row.key->parity));
  return key == KEY && odd;
}

void MemoryArrays::access(State &state, const Array &array, bool reads) {
  const Row &row = *array.row;
  const RingLatches control{state, array.address};
  const std::size_t number = row.two_phases ? state.read(*array.pending, 0) : control.value(row.address);
  if (!reads) {
    if (control.get(row.write_enable) && (!row.half || control.get(row.half->position) == row.half->value))
      write_entry(state, array.cells, number, RingLatches{state, array.in}.entry(row.in));
    return;
  }
  Entry entry = read_entry(state, array.cells, number);
  if (row.late) {
    const macro_word before = state.read(*array.pending, 0);
    state.write(*array.pending, 0, entry[0]);
    entry[0] = before;
  }
  if (array.gates && RingLatches{state, *array.gates}.any(row.gates))
    return;
  const bool inverted = row.inverted || (row.may_invert && (operand(state, array) & INVERTED) != 0);
  RingLatches{state, array.out}.show(row.out, entry, inverted);
}

}  // namespace simulated::arrays
