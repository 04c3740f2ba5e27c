#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "support/support.hpp"

using support::run_macro;
using support::RunInput;
using support::RunResult;
using Lines = std::vector<std::string>;

namespace {

const support::UnitWords CPU = support::one_chip(scdb::ChipKind::cpu, 1, 1);

/// A port's macros have the port's number in their ring, in their command words and in their bit addresses.
struct Port {
  const char *prefix;
  unsigned ring;
  macro_word commands;
  macro_word addresses;

  [[nodiscard]] std::string macro(char digit) const { return std::string(prefix) + digit + "_0101"; }
  /// The address of a bit of port 0, on this port.
  [[nodiscard]] std::string at(macro_word address) const { return fmt::format("{:X}", address + addresses); }
  [[nodiscard]] std::string down(macro_word first, macro_word last) const { return at(first) + ".." + at(last); }
};
constexpr Port PORTS[] = {
    {"cpj_A30", 48, 0x00000, 0x000000},
    {"cpj_A34", 52, 0x40000, 0x200000},
    {"cpj_A38", 56, 0x80000, 0x400000},
    {"cpj_A3C", 60, 0xC0000, 0x600000},
};

/// The macros that reach a port's RAM: two rings, and the port's command words.
struct RamMacro {
  const char *name;
  unsigned data;
  unsigned control;
  macro_word commands;

  [[nodiscard]] std::string data_down(macro_word first, unsigned count) const {
    const macro_word address = data << 19 | first;
    return fmt::format("{:X}..{:X}", address, address - count + 1);
  }
  [[nodiscard]] std::string data_run(macro_word first) const {
    return fmt::format("{:X}", 0xF0000000 | data << 19 | first);
  }
  [[nodiscard]] std::string control_down(macro_word first, unsigned count) const {
    const macro_word address = control << 19 | first;
    return fmt::format("{:X}..{:X}", address, address - count + 1);
  }
  [[nodiscard]] std::string control_run(unsigned length, macro_word first) const {
    return fmt::format("{:X}", (length - 1) << 28 | control << 19 | first);
  }
};
constexpr RamMacro RAM_MACROS[] = {
    {"cpj_A300_0101", 48, 51, 0x00000}, {"cpj_A340_0101", 52, 55, 0x40000}, {"cpj_A380_0101", 56, 59, 0x80000},
    {"cpj_A3C0_0101", 60, 63, 0xC0000}, {"cp_9B00_0101", 48, 58, 0x00000},  {"cp_9B40_0101", 51, 59, 0x40000},
};

void add(Lines &lines, const Lines &more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

/// The calls of a run, and that nothing but its status and _DATA came of it.
RunResult expect_calls(const RunInput &input, const Lines &calls) {
  RunResult run = run_macro(input, CPU);
  EXPECT_EQ(run.calls, calls);
  EXPECT_EQ(run.status, 0U);
  EXPECT_EQ(run.result, 0);
  EXPECT_TRUE(std::ranges::all_of(run.err, [](macro_word word) { return word == support::ERR_BACKGROUND; }));
  return run;
}

class MemoryPorts : public testing::TestWithParam<Port> {
 protected:
  support::Attached<support::ScriptedMachine> machine_;
};

TEST_P(MemoryPorts, IdWalk) {
  const Port &port = GetParam();
  const std::string ring = fmt::format("{:X}", port.ring);
  Lines calls{"open " + ring};
  for (const unsigned first : {128U, 8U})
    for (unsigned selection = 0; selection < 4; ++selection)
      for (unsigned value = first; value >= first / 8; value /= 2) {
        add(calls, {fmt::format("sin {:X} 3 @ {}", selection, port.at(0x11803AB4)),
                    fmt::format("sin {:X} FF @ {}", value, port.at(0x7180482D)), "store " + ring,
                    fmt::format("write 8F {:X}", 0x80000401 + port.commands), "fetch " + ring});
        // Two words of four lanes, each lane eight bits and the ninth below them.
        for (const macro_word word : {0x1803AB6U, 0x1803ADAU}) {
          std::string lanes = "sout FFFFFFFF @";
          std::string ninths = "sout F @";
          for (macro_word lane = word; lane < word + 36; lane += 9) {
            lanes += " " + port.down(lane + 8, lane + 1);
            ninths += " " + port.at(lane);
          }
          add(calls, {lanes, ninths});
        }
      }
  calls.push_back("close " + ring);
  EXPECT_EQ(expect_calls({port.macro('3'), 1, {0, 2048}, {}, 130, 5}, calls).written.size(), 128U);
}

TEST_P(MemoryPorts, IndexWalk) {
  const Port &port = GetParam();
  const std::string ring = fmt::format("{:X}", port.ring);
  Lines calls{"open " + ring};
  for (unsigned index = 0; index < 32; ++index)
    for (unsigned mark = 0; mark < 2; ++mark)
      add(calls, {fmt::format("sin {:X} 1F @ {}", index, port.down(0x1803F68, 0x1803F64)),
                  fmt::format("sin {} 1 @ {}", mark, port.at(0x1803E5F)),
                  fmt::format("sin {} 1 @ {}", mark, port.at(0x1803E60)), "store " + ring,
                  fmt::format("write 8F {:X}", 0x80000403 + port.commands), "fetch " + ring,
                  "sout 3F0000 @ " + port.down(0x180446F, 0x180446A), "sout 3F @ " + port.down(0x18042D1, 0x18042CC)});
  calls.push_back("close " + ring);
  EXPECT_EQ(expect_calls({port.macro('5'), 1, {0, 1}, {}, 70}, calls).written.size(), 64U);
}

TEST_P(MemoryPorts, Entries) {
  const Port &port = GetParam();
  const std::string ring = fmt::format("{:X}", port.ring);
  // Of the last entries' numbers the ring takes six bits.
  for (const macro_word first : {0U, 63U}) {
    Lines calls{"open " + ring, "sin 0 1 @ " + port.at(0x180338D)};
    for (macro_word i = 0; i < 6; ++i)
      calls.push_back(fmt::format("sin {:X} 3F @ {}", first + i, port.down(0x1803393 + 6 * i, 0x180338E + 6 * i)));
    add(calls, {"store " + ring, fmt::format("write 8F {:X}", 0x80000402 + port.commands), "fetch " + ring});
    for (macro_word i = 0; i < 6; ++i)
      add(calls, {"sout 80000000 @ " + port.at(0x18033CF + 16 * i),
                  "sout 3F0000 @ " + port.down(0x18033CD + 16 * i, 0x18033C8 + 16 * i),
                  "sout FF @ " + port.down(0x18033C7 + 16 * i, 0x18033C0 + 16 * i)});
    calls.push_back("close " + ring);
    EXPECT_EQ(expect_calls({port.macro('4'), 1, {first, 3}}, calls).written.size(), 6U);
  }
}

std::string name_of_port(const testing::TestParamInfo<Port> &row) {
  return fmt::format("Port{}", row.index);
}
INSTANTIATE_TEST_SUITE_P(EveryPort, MemoryPorts, testing::ValuesIn(PORTS), name_of_port);

class PortRam : public testing::TestWithParam<RamMacro> {
 protected:
  support::Attached<support::ScriptedMachine> machine_;

  /// Ten bits of the address.
  static std::string address(const RamMacro &macro, macro_word value) {
    return fmt::format("sin {:X} 3FF @ {} {} {}", value, macro.control_down(0xFBB, 2), macro.control_down(0xFCA, 6),
                       macro.control_down(0xFC3, 2));
  }
};

TEST_P(PortRam, Reads) {
  const RamMacro &macro = GetParam();
  const std::string data = fmt::format("{:X}", macro.data);
  const std::string control = fmt::format("{:X}", macro.control);
  Lines calls{"open " + data, "open " + control, "sin 0 FF @ " + macro.control_down(0xFD7, 8)};
  for (const macro_word entry : {2047U, 2048U}) {
    add(calls, {address(macro, entry), "sin 0 FF @ " + macro.control_run(8, 0xFD9), "store " + control});
    for (macro_word group = 0; group < 8; ++group)
      calls.push_back(fmt::format("write 8F {:X}", 0x10000408 + macro.commands + group));
    calls.push_back("fetch " + data);
    for (macro_word group = 0; group < 8; ++group)
      add(calls, {"sout FFFFFFFF @ " + macro.data_down(0x6871 + 96 * group, 32),
                  "sout FFFFFFFF @ " + macro.data_down(0x6851 + 96 * group, 32),
                  "sout FFFF0000 @ " + macro.data_run(0x6812 + 96 * group)});
  }
  add(calls, {"close " + data, "close " + control});

  std::vector<macro_word> &ring = machine_->ring(macro.data);
  const auto bits = [&ring](unsigned first, int step, unsigned count) {
    macro_word word = 0;
    for (unsigned i = 0, position = first; i < count; ++i, position += static_cast<unsigned>(step))
      word = word << 1 | (ring[position / 32] >> (31 - position % 32) & 1);
    return word;
  };
  const RunResult run = expect_calls({macro.name, 1, {2047, 2}, {}, 64}, calls);
  // All bits of a word are inverted, those that no ring bit fills with them.
  for (std::size_t group = 0; group < 16; ++group) {
    const auto up = static_cast<unsigned>(group % 8 * 96);
    EXPECT_EQ(run.data[3 * group], ~bits(0x6871 + up, -1, 32));
    EXPECT_EQ(run.data[3 * group + 1], ~bits(0x6851 + up, -1, 32));
    EXPECT_EQ(run.data[3 * group + 2], ~(bits(0x6812 + up, 1, 16) << 16));
  }
  EXPECT_EQ(run.written.size(), 48U);
}

TEST_P(PortRam, Writes) {
  const RamMacro &macro = GetParam();
  const std::string data = fmt::format("{:X}", macro.data);
  const std::string control = fmt::format("{:X}", macro.control);
  const RunInput input{macro.name, 2, {5, 2}, {}, 64};
  Lines calls{"open " + data, "open " + control, "sin FF FF @ " + macro.control_down(0xFD7, 8)};
  std::size_t word = 0;
  for (const macro_word entry : {5U, 6U})
    for (unsigned step = 0; step < 4; ++step) {
      calls.push_back(address(macro, entry));
      for (unsigned group = 2 * step; group < 2 * step + 2; ++group, word += 3)
        add(calls, {fmt::format("sin {:X} FFFFFFFF @ {}", support::background(word),
                                macro.control_down(0x1071 + 96 * group, 32)),
                    fmt::format("sin {:X} FFFFFFFF @ {}", support::background(word + 1),
                                macro.control_down(0x1051 + 96 * group, 32)),
                    fmt::format("sin {:X} FFFF0000 @ {}", support::background(word + 2),
                                macro.control_run(16, 0x1012 + 96 * group))});
      static constexpr macro_word ENABLES[] = {0xFC, 0xF3, 0xCF, 0x3F};
      add(calls, {fmt::format("sin {:X} FF @ {}", ENABLES[step], macro.control_run(8, 0xFD9)), "store " + control,
                  fmt::format("write 8F {:X}", 0x408 + macro.commands + 2 * step),
                  fmt::format("write 8F {:X}", 0x409 + macro.commands + 2 * step)});
    }
  add(calls, {"close " + data, "close " + control});
  EXPECT_TRUE(expect_calls(input, calls).written.empty());
}

std::string name_of_macro(const testing::TestParamInfo<RamMacro> &row) {
  return row.param.name;
}
INSTANTIATE_TEST_SUITE_P(EveryRam, PortRam, testing::ValuesIn(RAM_MACROS), name_of_macro);

TEST(MemoryLinks, TrainingSequence) {
  struct Row {
    const char *macro;
    const char *ring;
    const char *driven;
    const char *enabled;
    const char *received;
    const char *trains;
  };
  support::Attached<support::ScriptedMachine> machine;
  machine->on_jtag_read(0xE3, [](unsigned) { return 0x12345678; });
  for (const Row &row :
       {Row{"cp_9B09_0101", "3A", "1D01407..1D01400", "2E00017..2E00010", "2E00028..2E00020", "92345678"},
        Row{"cp_9B0A_0101", "3D", "1E81407..1E81400", "2E00117..2E00110", "2E00128..2E00120", "52345678"}}) {
    SCOPED_TRACE(row.macro);
    const std::string ring = row.ring;
    Lines calls{"open " + ring, "open 5C", fmt::format("sin FF FF @ {}", row.enabled),
                "store 5C",     "read E3", fmt::format("write D3 {}", row.trains),
                "fetch " + ring};
    for (unsigned lane = 1; lane <= 128; lane *= 2)
      add(calls,
          {fmt::format("sin {:X} FF @ {}", lane, row.driven), "store " + ring, "instruct D8", "wait 3E8", "instruct D9",
           "wait 3E8", "instruct F3", "fetch 5C", fmt::format("sout 800000FF @ {}", row.received)});
    add(calls, {"write D3 12345678", "close " + ring, "close 5C"});
    EXPECT_EQ(expect_calls({row.macro, 1, {}, {}, 16, 5}, calls).written.size(), 8U);
  }
}

/// The chip spoils the whole ring with each pattern.  The next one must start from what was there in the beginning.
TEST(MemoryPortImage, EveryPatternStartsFromIt) {
  struct Row {
    RunInput input;
    unsigned ring;                                      ///< the one whose image is kept
    std::vector<std::pair<unsigned, unsigned>> fields;  ///< first and last positions of what a pattern may change
    std::size_t patterns;
  };
  for (const Row &row : {
           Row{{"cpj_A383_0101", 1, {0, 1}, {}, 128}, 56, {{0x3AB4, 0x3AB5}, {0x482D, 0x4834}}, 32},
           Row{{"cpj_A385_0101", 1, {0, 1}}, 56, {{0x3F64, 0x3F68}, {0x3E5F, 0x3E60}}, 64},
           Row{{"cpj_A384_0101", 1, {0, 1}}, 56, {{0x338D, 0x33B1}}, 1},
           Row{{"cpj_A380_0101", 1, {0, 2}}, 59, {{0xFC2, 0xFE0}}, 2},
           Row{{"cpj_A380_0101", 2, {0, 2}}, 59, {{0xFC2, 0xFE0}, {0x1012, 0x1311}}, 8},
           Row{{"cp_9B09_0101", 1}, 58, {{0x1400, 0x1407}}, 8},
           Row{{"cp_9B0A_0101", 1}, 61, {{0x1400, 0x1407}}, 8},
       }) {
    SCOPED_TRACE(fmt::format("{} {}", row.input.macro, row.input.rw));
    support::Attached<support::ScriptedMachine> machine;
    const std::vector<macro_word> before = machine->ring(row.ring);
    std::size_t patterns = 0;
    machine->on_ring_write = [&](unsigned ring, std::vector<macro_word> &words) {
      if (ring != row.ring || words == before)  // it is the closing scan that puts everything back
        return;
      ++patterns;
      for (unsigned position = 0; position < SCANBUFFER_WORDS * 32; ++position) {
        const macro_word mask = macro_word{1} << (31 - position % 32);
        const bool of_a_field = std::ranges::any_of(
            row.fields, [position](const auto &field) { return position >= field.first && position <= field.second; });
        if (!of_a_field && ((words[position / 32] ^ before[position / 32]) & mask) != 0) {
          ADD_FAILURE() << "pattern " << patterns << " differs at position " << position;
          break;
        }
      }
      for (macro_word &word : words)
        word = ~word;
    };
    EXPECT_EQ(run_macro(row.input, CPU).result, 0);
    EXPECT_EQ(patterns, row.patterns);
    EXPECT_TRUE(machine->ring(row.ring) == before);
  }
}

TEST(MemoryPortParameters, AreCheckedBeforeAnyCall) {
  struct Row {
    const char *macro;
    std::vector<macro_word> para;
    macro_word subcode;
    macro_word value;
    macro_word rw = 1;
  };
  const support::Attached<support::ScriptedMachine> machine;
  for (const Row &row : {
           Row{"cpj_A303_0101", {1, 1}, SUB_SELECTOR, 1},
           Row{"cpj_A343_0101", {0xFFFFFFFF, 0}, SUB_SELECTOR, 0xFFFFFFFF},
           Row{"cpj_A383_0101", {0, 0}, SUB_SECOND, 0},
           Row{"cpj_A3C3_0101", {0, 2049}, SUB_SECOND, 2049},
           Row{"cpj_A305_0101", {1, 0}, SUB_SELECTOR, 1},
           Row{"cpj_A3C5_0101", {0, 0x80000000}, SUB_SECOND, 0x80000000},
           Row{"cpj_A304_0101", {64, 1}, SUB_SELECTOR, 64},
           Row{"cpj_A384_0101", {63, 2049}, SUB_SECOND, 2049},
           Row{"cpj_A300_0101", {2048, 1}, SUB_SELECTOR, 2048},
           Row{"cpj_A3C0_0101", {2047, 0}, SUB_SECOND, 0, 2},
           Row{"cp_9B00_0101", {2048, 0}, SUB_SELECTOR, 2048, 2},
           Row{"cp_9B40_0101", {0, 2049}, SUB_SECOND, 2049},
       }) {
    SCOPED_TRACE(fmt::format("{} {} {}", row.macro, row.para[0], row.para[1]));
    const RunResult run = run_macro({row.macro, row.rw, row.para}, CPU);
    EXPECT_TRUE(run.calls.empty());
    EXPECT_EQ(run.status, MACRO_FAILED);
    EXPECT_EQ(run.err, support::refusal(row.subcode, row.value));
    EXPECT_TRUE(run.written.empty());
  }
}

/// A direction that a macro does not have: no call, and not even a look at the parameters.
TEST(MemoryPortParameters, OtherDirectionsDoNothing) {
  const support::Attached<support::ScriptedMachine> machine;
  for (const char *macro : {"cpj_A303_0101", "cpj_A344_0101", "cpj_A385_0101", "cpj_A3C0_0101", "cp_9B00_0101",
                            "cp_9B40_0101", "cp_9B09_0101", "cp_9B0A_0101"})
    for (const macro_word rw : {0U, 2U, 3U, 0xFFFFFFFFU}) {
      const bool writes = std::string_view(macro).find("0_0101") != std::string_view::npos;
      if (rw == 2 && writes)
        continue;
      const RunResult run = run_macro({macro, rw, {9999, 0}, {}, 64, 7}, CPU);
      EXPECT_TRUE(run.calls.empty()) << macro;
      EXPECT_EQ(run.status, 7U) << macro;
      EXPECT_TRUE(run.written.empty()) << macro;
    }
}

/// A failed call inside a pass, an index or an entry: the macro goes on to its end, stores what it reads, and closes.
TEST(MemoryPortFailures, AreLookedForAtCheckPoints) {
  struct Row {
    RunInput input;
    std::size_t fails;  ///< call that fails, the first being 0
    std::size_t calls;  ///< that are made in all
    std::size_t words;  ///< stored in _DATA
  };
  constexpr std::size_t PASS = std::size_t{16} * 9;
  constexpr std::size_t INDEX = std::size_t{2} * 8;
  constexpr std::size_t READ_ENTRY = 3 + 8 + 1 + 24;
  constexpr std::size_t WRITE_ENTRY = std::size_t{4} * (1 + 6 + 2 + 2);
  const support::Attached<support::ScriptedMachine> machine;
  for (const Row &row : {
           Row{{"cpj_A303_0101", 1, {0, 1}, {}, 128}, 1, 1 + PASS + 1, 64},
           Row{{"cpj_A303_0101", 1, {0, 1}, {}, 128}, PASS, 1 + PASS + 1, 64},
           Row{{"cpj_A303_0101", 1, {0, 1}, {}, 128}, PASS + 1, 1 + 2 * PASS + 1, 128},
           Row{{"cpj_A305_0101", 1, {0, 1}}, 3 * INDEX + 1, 1 + 4 * INDEX + 1, 8},
           Row{{"cpj_A304_0101", 1, {0, 1}}, 2, 1 + 10 + 18 + 1, 6},
           Row{{"cpj_A300_0101", 1, {0, 5}, {}, 120}, 2, 3 + READ_ENTRY + 2, 24},
           Row{{"cp_9B40_0101", 1, {0, 5}, {}, 120}, 3 + READ_ENTRY, 3 + 2 * READ_ENTRY + 2, 48},
           Row{{"cpj_A300_0101", 2, {0, 5}, {}, 120}, 3 + WRITE_ENTRY, 3 + 2 * WRITE_ENTRY + 2, 0},
       }) {
    SCOPED_TRACE(fmt::format("{} {}, call {}", row.input.macro, row.input.rw, row.fails));
    support::Recorder recorder(CPU);
    recorder.fail_call(row.fails);
    const RunResult run = run_macro(row.input, CPU, recorder);
    EXPECT_EQ(run.calls.size(), row.calls);
    EXPECT_EQ(run.written.size(), row.words);
    EXPECT_EQ(run.status, MACRO_FAILED);
    EXPECT_EQ(run.result, -1);
  }
}

}  // namespace
