#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// Where the latches of the CPU chip's memory arrays lie in its scan rings.
namespace simulated::arrays {

/// How an entry's check bits are made.
enum class Code : std::uint8_t {
  FRONT,   ///< 64 data bits, 8 check bits, those numbered 2 to 5 inverted
  BEHIND,  ///< 64 data bits, 8 check bits
  SHORT,   ///< 11 data bits, 6 check bits, those numbered 1, 3 and 5 inverted
};

/// Latches of side-by-side bits of a value.
struct Latches {
  enum Order : std::uint8_t {
    UP,     ///< the first bit at the lowest position
    DOWN,   ///< the first bit at the highest position
    TURNS,  ///< as DOWN, five positions of ten: the other core has the other five
  };
  unsigned lowest = 0;
  unsigned bits = 0;
  Order order = UP;

  [[nodiscard]] constexpr unsigned position(unsigned bit) const {
    const unsigned from_top = bits - 1 - bit;
    switch (order) {
      case UP:
        return lowest + bit;
      case DOWN:
        return lowest + from_top;
      default:
        return lowest + from_top / 5 * 10 + from_top % 5;
    }
  }
};

/// Latches of a whole value, its first bits first.
using Strands = std::array<Latches, 4>;

constexpr unsigned bits_of(const Strands &strands) {
  unsigned bits = 0;
  for (const Latches &latches : strands)
    bits += latches.bits;
  return bits;
}

/// A latch and what it must hold.
struct Requirement {
  unsigned position = 0;
  bool value = false;
};

/// Key latches and the one of their odd parity.
struct KeyLatches {
  Latches key;
  unsigned parity = 0;
};

struct Row {
  std::string_view name;
  unsigned unit = 0;
  Code code = Code::FRONT;
  unsigned in_ring = 0;
  unsigned address_ring = 0;
  unsigned out_ring = 0;

  // In the address ring.
  unsigned write_enable = 0;
  unsigned hold = 0;  ///< while it is set, the array stands still
  Strands address{};
  std::optional<Requirement> half{};  ///< what it takes besides to write this half of an array
  std::optional<KeyLatches> key{};

  // In the data rings: the entry, data bits first.
  Strands in{};
  Strands out{};
  bool inverted = false;  ///< data-out

  unsigned gate_ring = 0;  ///< 0 = no gates
  Strands gates{};         ///< what they hold keeps the entry from data-out

  unsigned operand = 0;     ///< number of the operand register that opens the array; 0 = open
  bool may_invert = false;  ///< that register can invert data-out
  bool two_phases = false;  ///< one pulse latches the address, the next one accesses
  bool late = false;        ///< an access shows the entry of the access before

  // How far core 1's latches are from those of core 0.
  int control_distance = -5;
  int out_distance = -5;

  [[nodiscard]] constexpr unsigned address_bits() const { return bits_of(address); }

  /// The other core's array of the same kind.
  [[nodiscard]] constexpr Row of_core_1() const {
    Row row = *this;
    move(row.write_enable, control_distance);
    move(row.hold, control_distance);
    move(row.address, USUAL_DISTANCE);
    if (row.half)
      move(row.half->position, USUAL_DISTANCE);
    if (row.key) {
      move(row.key->key.lowest, USUAL_DISTANCE);
      move(row.key->parity, USUAL_DISTANCE);
    }
    move(row.in, USUAL_DISTANCE);
    move(row.out, out_distance);
    move(row.gates, USUAL_DISTANCE);
    return row;
  }

 private:
  static constexpr int USUAL_DISTANCE = -5;
  static constexpr void move(unsigned &position, int distance) { position += static_cast<unsigned>(distance); }
  static constexpr void move(Strands &strands, int distance) {
    for (Latches &latches : strands)
      move(latches.lowest, distance);
  }
};

inline constexpr unsigned CLEARED_RINGS[] = {61, 152};

/// The first set: the caches and the line RAM of the one-core chip's layout.
inline constexpr Row FIRST_SET[] = {
    {.name = "line ram",
     .unit = 0,
     .code = Code::BEHIND,
     .in_ring = 60,
     .address_ring = 61,
     .out_ring = 55,
     .write_enable = 1801,
     .hold = 1805,
     .address = {{{1806, 1}, {1809, 9}}},
     .in = {{{12, 72}}},
     .out = {{{29537, 72, Latches::DOWN}}},
     .inverted = true,
     .gate_ring = 55,
     .gates = {{{20389, 4}, {20293, 5}, {20270, 5}}}},
    {.name = "instruction data",
     .unit = 1,
     .code = Code::FRONT,
     .in_ring = 60,
     .address_ring = 61,
     .out_ring = 55,
     .write_enable = 1865,
     .hold = 1869,
     .address = {{{1870, 1}, {1873, 9}}},
     .in = {{{116, 64}, {108, 8}}},
     .out = {{{29793, 64, Latches::DOWN}, {29857, 8, Latches::DOWN}}},
     .gate_ring = 57,
     .gates = {{{544, 3}, {552, 5}}},
     .operand = 22,
     .may_invert = true},
    {.name = "operand data",
     .unit = 2,
     .code = Code::FRONT,
     .in_ring = 60,
     .address_ring = 61,
     .out_ring = 55,
     .write_enable = 1929,
     .hold = 1933,
     .address = {{{1934, 1}, {1937, 9}}},
     .in = {{{212, 64}, {204, 8}, {276, 1}}},
     .out = {{{30049, 64, Latches::DOWN}, {30113, 8, Latches::DOWN}, {30048, 1}}},
     .gate_ring = 57,
     .gates = {{{576, 3}, {584, 5}}},
     .operand = 22,
     .may_invert = true},
    {.name = "instruction tag",
     .unit = 3,
     .code = Code::SHORT,
     .in_ring = 60,
     .address_ring = 61,
     .out_ring = 55,
     .write_enable = 1993,
     .hold = 1997,
     .address = {{{1998, 1}, {2001, 9}}},
     .in = {{{306, 11}, {300, 6}}},
     .out = {{{30305, 11, Latches::DOWN}, {30316, 6, Latches::DOWN}}},
     .gate_ring = 57,
     .gates = {{{608, 3}, {616, 5}}}},
    {.name = "operand tag",
     .unit = 4,
     .code = Code::SHORT,
     .in_ring = 60,
     .address_ring = 61,
     .out_ring = 55,
     .write_enable = 2057,
     .hold = 2061,
     .address = {{{2063, 1}, {2062, 1}, {2064, 10}}},
     .in = {{{402, 11}, {396, 6}}},
     .out = {{{30561, 11, Latches::DOWN}, {30572, 6, Latches::DOWN}}},
     .gate_ring = 55,
     .gates = {{{20421, 4}, {20325, 4}}},
     .late = true},
};

constexpr Latches turns(unsigned lowest, unsigned bits) {
  return {lowest, bits, Latches::TURNS};
}
/// Entries whose check latches lie some way above the data latches.
constexpr Strands wide(unsigned lowest) {
  return {{turns(lowest, 64), turns(lowest + 140, 8)}};
}
constexpr Strands narrow(unsigned lowest) {
  return {{turns(lowest, 11), turns(lowest + 40, 6)}};
}

/// The second set, once for each of two cores: as core 0 has it.  Halves of an array that show at the same time are
/// arrays of their own.
inline constexpr Row CORE_SET[] = {
    {.name = "line ram lower",
     .unit = 0,
     .code = Code::BEHIND,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 144,
     .write_enable = 1000,
     .hold = 1001,
     .address = {{turns(1010, 9)}},
     .in = wide(2000),
     .out = wide(5000),
     .inverted = true,
     .gate_ring = 144,
     .gates = {{turns(7300, 3), turns(7310, 11)}},
     .two_phases = true,
     .control_distance = -4},
    {.name = "line ram upper",
     .unit = 0,
     .code = Code::BEHIND,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 144,
     .write_enable = 1002,
     .hold = 1001,
     .address = {{turns(1010, 9)}},
     .in = wide(2000),
     .out = wide(5400),
     .inverted = true,
     .gate_ring = 144,
     .gates = {{turns(7300, 3), turns(7310, 11)}},
     .two_phases = true,
     .control_distance = -4,
     .out_distance = -1032},
    {.name = "instruction data",
     .unit = 9,
     .code = Code::FRONT,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 146,
     .write_enable = 1100,
     .hold = 1101,
     .address = {{turns(1110, 10)}},
     .in = wide(2200),
     .out = wide(3200),
     .operand = 22,
     .may_invert = true},
    {.name = "operand data",
     .unit = 10,
     .code = Code::FRONT,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 146,
     .write_enable = 1200,
     .hold = 1201,
     .address = {{turns(1210, 10)}},
     .in = {{turns(2400, 64), turns(2540, 8), {2560, 1}}},
     .out = {{turns(3400, 64), turns(3540, 8), {3560, 1}}},
     .operand = 22,
     .may_invert = true},
    {.name = "instruction tag lower",
     .unit = 11,
     .code = Code::SHORT,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 146,
     .write_enable = 1300,
     .hold = 1301,
     .address = {{turns(1310, 9)}},
     .half = Requirement{1302, false},
     .in = narrow(2600),
     .out = narrow(3600),
     .operand = 23},
    {.name = "instruction tag upper",
     .unit = 11,
     .code = Code::SHORT,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 146,
     .write_enable = 1300,
     .hold = 1301,
     .address = {{turns(1310, 9)}},
     .half = Requirement{1302, true},
     .in = narrow(2600),
     .out = narrow(3700),
     .operand = 23},
    {.name = "operand tag lower",
     .unit = 12,
     .code = Code::SHORT,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 146,
     .write_enable = 1400,
     .hold = 1401,
     .address = {{turns(1403, 2), turns(1410, 9)}},
     .half = Requirement{1402, false},
     .in = narrow(2800),
     .out = narrow(3800),
     .operand = 23,
     .late = true},
    {.name = "operand tag upper",
     .unit = 12,
     .code = Code::SHORT,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 146,
     .write_enable = 1400,
     .hold = 1401,
     .address = {{turns(1403, 2), turns(1410, 9)}},
     .half = Requirement{1402, true},
     .in = narrow(2800),
     .out = narrow(3900),
     .operand = 23,
     .late = true},
    {.name = "translation",
     .unit = 14,
     .code = Code::BEHIND,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 151,
     .write_enable = 1600,
     .hold = 1601,
     .address = {{turns(1610, 11)}},
     .key = KeyLatches{turns(1640, 16), 1680},
     .in = {{turns(3290, 32), turns(3200, 32), turns(3360, 4), turns(3270, 4)}},
     .out = {{turns(7290, 32), turns(7200, 32), turns(7360, 4), turns(7270, 4)}}},
    {.name = "secondary data",
     .unit = 15,
     .code = Code::BEHIND,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 151,
     .write_enable = 1700,
     .hold = 1701,
     .address = {{turns(1710, 9), turns(1703, 2)}},
     .in = wide(3400),
     .out = wide(7400)},
    {.name = "secondary tag",
     .unit = 16,
     .code = Code::BEHIND,
     .in_ring = 151,
     .address_ring = 152,
     .out_ring = 151,
     .write_enable = 1800,
     .hold = 1801,
     .address = {{turns(1810, 9), {1803, 1}}},
     .in = wide(3600),
     .out = wide(7600)},
};

}  // namespace simulated::arrays
