#include <fmt/format.h>
#include <gtest/gtest.h>

#include <bit>

#include "support/support.hpp"

// The memory-port macros on the simulated server.

using support::run_macro;
using support::RunResult;

namespace {

const support::UnitWords CPU = support::one_chip(scdb::ChipKind::cpu, 1, 1);

constexpr const char *PORTS[] = {"cpj_A30", "cpj_A34", "cpj_A38", "cpj_A3C"};

/// The macros that reach a port's RAM, and their rings.
struct RamMacro {
  const char *name;
  unsigned data;
  unsigned control;
};
constexpr RamMacro RAM_MACROS[] = {
    {"cpj_A300_0101", 48, 51}, {"cpj_A340_0101", 52, 55}, {"cpj_A380_0101", 56, 59},
    {"cpj_A3C0_0101", 60, 63}, {"cp_9B00_0101", 48, 58},  {"cp_9B40_0101", 51, 59},
};

constexpr macro_word odd_parity(macro_word byte) {
  return std::popcount(byte) % 2 == 0 ? 1 : 0;
}

/// What a healthy port answers to the ID walk.
std::vector<macro_word> identified() {
  std::vector<macro_word> words;
  for (const macro_word first : {0x80U, 0x08U})
    for (unsigned selection = 0; selection < 4; ++selection)
      for (macro_word value = first; value >= first / 8; value /= 2)
        for (const macro_word inversion : {0x00U, 0xFFU}) {
          macro_word lanes = 0;
          macro_word ninths = 0;
          for (unsigned lane = 0; lane < 4; ++lane) {
            const macro_word byte = (lane == selection ? value : 0) ^ inversion;
            lanes = lanes << 8 | byte;
            ninths = ninths << 1 | odd_parity(byte);
          }
          words.insert(words.end(), {lanes, ninths});
        }
  return words;
}

/// The first words of _DATA.
std::vector<macro_word> first_words(const RunResult &run, std::size_t count) {
  return {run.data.begin(), run.data.begin() + static_cast<std::ptrdiff_t>(count)};
}

TEST(SimulatedPorts, PatternsAreAnswered) {
  const support::Server server;
  for (const std::string port : PORTS) {
    SCOPED_TRACE(port);
    EXPECT_EQ(first_words(run_macro({port + "3_0101", 1, {0, 1}, {}, 128}, CPU), 128), identified());

    const RunResult indices = run_macro({port + "5_0101", 1, {0, 1}}, CPU);
    for (macro_word i = 0; i < 64; ++i) {
      const macro_word number = i / 2 | (i % 2 != 0 ? 0x20 : 0);
      EXPECT_EQ(indices.data[i], number << 16 | (~number & 0x3F));
    }

    const RunResult entries = run_macro({port + "4_0101", 1, {61, 1}}, CPU);
    const RunResult wrapped = run_macro({port + "4_0101", 1, {0, 1}}, CPU);
    for (macro_word i = 0; i < 6; ++i)
      EXPECT_EQ(entries.data[i] & 0xFFFFFF00, 0x80000000 | (61 + i) % 64 << 16);
    for (macro_word i = 0; i < 3; ++i)
      EXPECT_EQ(entries.data[3 + i], wrapped.data[i]);
  }
  EXPECT_TRUE(scdb::open_rings().empty());
}

/// A stuck ring bit shows in exactly the words that hold it, and as what it is stuck at.
TEST(SimulatedPorts, StuckBitShowsInItsWords) {
  struct Row {
    const char *fault;
    unsigned port;
    unsigned word;  ///< of the four of a pattern
    macro_word mask;
    bool one;
  };
  for (const Row &row : {
           Row{"place = \"ring 48\"\nkind = \"stuck-1\"\nbit = 0x3ABE", 0, 0, 0x80000000, true},
           Row{"place = \"ring 52\"\nkind = \"stuck-0\"\nbit = 0x3ABF", 1, 1, 0x4, false},
           Row{"place = \"ring 56\"\nkind = \"stuck-1\"\nbit = 0x3AF6", 2, 2, 0x1, true},
           Row{"place = \"ring 60\"\nkind = \"stuck-0\"\nbit = 0x3ADA", 3, 3, 0x8, false},
       }) {
    SCOPED_TRACE(row.fault);
    const support::Server server(fmt::format("base = \"default\"\n[[fault]]\nchip = \"cpu:1.1\"\n{}\n", row.fault));
    for (unsigned i = 0; i < std::size(PORTS); ++i) {
      std::vector<macro_word> expected = identified();
      for (std::size_t word = row.word; i == row.port && word < expected.size(); word += 4)
        expected[word] = row.one ? expected[word] | row.mask : expected[word] & ~row.mask;
      EXPECT_EQ(first_words(run_macro({PORTS[i] + std::string("3_0101"), 1, {0, 1}, {}, 128}, CPU), 128), expected);
    }
  }
}

/// What is written can be read back, through either way to a port, and the rings are left as they were.
TEST(SimulatedPorts, RamKeepsWhatIsWritten) {
  constexpr macro_word ENTRIES = 2048;
  constexpr macro_word DISTINCT = 1024;
  constexpr std::size_t WORDS = 24;
  const support::Server server;
  const scdb::Chip chip{scdb::ChipKind::cpu, 1, 1};
  const auto ring = [&chip](unsigned code) {
    std::vector<macro_word> words((scdb::machine().ring_bits(chip, code) + 31) / 32);
    EXPECT_TRUE(scdb::machine().read_ring({&chip, 1}, code, words).ok());
    return words;
  };
  const auto read = [](const char *macro, macro_word first, macro_word count) {
    return run_macro({macro, 1, {first, count}, {}, count * WORDS}, CPU).data;
  };
  // What _DATA held when it was written, without the bits that no group has.
  const auto written = [](std::size_t entry, std::size_t word) {
    const macro_word all = support::background(entry * WORDS + word);
    return word % 3 == 2 ? all | 0xFFFF : all;
  };

  for (const RamMacro &macro : RAM_MACROS) {
    SCOPED_TRACE(macro.name);
    const std::vector<macro_word> data_ring = ring(macro.data);
    const std::vector<macro_word> control_ring = ring(macro.control);
    ASSERT_EQ(run_macro({macro.name, 2, {1, 3}, {}, 3 * WORDS}, CPU).status, 0U);
    // Address 1025 is address 1.
    const std::vector<macro_word> held = read(macro.name, DISTINCT + 1, 3);
    for (std::size_t i = 0; i < held.size(); ++i)
      ASSERT_EQ(held[i], written(i / WORDS, i % WORDS)) << "word " << i;
    EXPECT_TRUE(ring(macro.data) == data_ring && ring(macro.control) == control_ring);
  }
  // Ports 0 and 1 have two ways to one RAM; the other ports' are their own.
  ASSERT_EQ(run_macro({"cp_9B00_0101", 2, {9, 1}, std::vector<macro_word>(WORDS, 0x12345678)}, CPU).status, 0U);
  EXPECT_EQ(read("cpj_A300_0101", 9, 1)[0], 0x12345678U);
  EXPECT_NE(read("cpj_A340_0101", 9, 1)[0], 0x12345678U);
  // A whole run: the second half is written over the first.
  ASSERT_EQ(run_macro({"cpj_A3C0_0101", 2, {0, ENTRIES}, {}, ENTRIES * WORDS}, CPU).status, 0U);
  const std::vector<macro_word> all = read("cpj_A3C0_0101", 0, ENTRIES);
  for (std::size_t i = 0; i < all.size(); ++i)
    ASSERT_EQ(all[i], written(DISTINCT + i / WORDS % DISTINCT, i % WORDS)) << "word " << i;
}

/// A RAM cell that is stuck shows in one bit of its group.
TEST(SimulatedPorts, StuckRamBitShowsInItsGroup) {
  const support::Server server(R"(base = "default"
[[fault]]
chip = "cpu:1.1"
place = "array port 2 ram"
kind = "stuck-1"
entry = 5
bit = 144
)");
  const std::vector<macro_word> zeros(48, 0);
  ASSERT_EQ(run_macro({"cpj_A380_0101", 2, {4, 2}, zeros}, CPU).status, 0U);
  const RunResult run = run_macro({"cpj_A380_0101", 1, {4, 2}, {}, 48}, CPU);
  for (std::size_t i = 0; i < 48; ++i)  // bit 144 is the first of the last 16 of group 1
    EXPECT_EQ(run.data[i], (i % 3 == 2 ? 0xFFFF : 0) | (i == 24 + 5 ? 0x80000000 : 0)) << i;
}

/// A group's words are accessed once each, though their halves go to different words of the ring.
TEST(SimulatedPorts, AFaultOfOneAccessShowsOnce) {
  // Groups 0 and 1 are words 0, 1, 2 and 2, 3, 4 of an entry.
  for (const auto &[bit, after] : {std::pair{0, 0}, {31, 0}, {64, 2}, {95, 3}, {127, 4}}) {
    const support::Server server(fmt::format(R"(base = "default"
[[fault]]
chip = "cpu:1.1"
place = "array port 2 ram"
kind = "flip"
entry = 5
bit = {}
after = {}
times = 1
)",
                                             bit, after));
    const RunResult first = run_macro({"cpj_A380_0101", 1, {5, 1}, {}, 24}, CPU);
    const RunResult second = run_macro({"cpj_A380_0101", 1, {5, 1}, {}, 24}, CPU);
    int different = 0;
    for (std::size_t i = 0; i < 24; ++i)
      different += std::popcount(first.data[i] ^ second.data[i]);
    EXPECT_EQ(different, 1) << "bit " << bit;
  }
}

TEST(SimulatedLinks, EveryLaneArrives) {
  const support::Server server;
  for (const char *macro : {"cp_9B09_0101", "cp_9B0A_0101"}) {
    const RunResult run = run_macro({macro, 1}, CPU);
    for (unsigned lane = 0; lane < 8; ++lane)
      EXPECT_EQ(run.data[lane], 0x80000000 | 1U << lane) << macro;
  }
  EXPECT_TRUE(scdb::open_rings().empty());
}

TEST(SimulatedLinks, BrokenLaneAndMissedReset) {
  const auto words = [](const char *fault) {
    const support::Server server(fmt::format("base = \"default\"\n[[fault]]\nchip = \"cpu:1.1\"\n{}\n", fault));
    return first_words(run_macro({"cp_9B0A_0101", 1}, CPU), 8);
  };
  EXPECT_EQ(words("place = \"ring 61\"\nkind = \"stuck-0\"\nbit = 0x1402"),
            (std::vector<macro_word>{0x80000001, 0x80000002, 0x80000000, 0x80000008, 0x80000010, 0x80000020, 0x80000040,
                                     0x80000080}));
  EXPECT_EQ(words("place = \"jtag 0xD9\"\nkind = \"does-not-hold\""), std::vector<macro_word>(8, 0));
}

}  // namespace
