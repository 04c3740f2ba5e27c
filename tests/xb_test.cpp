#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "support/support.hpp"

using support::Lines;
using support::Record;
using support::run_macro;
using support::RunInput;
using support::RunResult;
using support::UnitWords;
using support::Words;
using support::operator+;

namespace {

UnitWords crossbars(macro_word type, macro_word boards = 0x6) {
  UnitWords unit{type, boards, {}};
  unit.mring[1] = 1;
  unit.mring[2] = 3;
  return unit;
}

/// The record of a unit that a crossbar macro cannot work on.
Record refused_unit(const UnitWords &unit, std::vector<std::pair<unsigned, macro_word>> further = {}) {
  for (unsigned i = 0; i < MRING_WORDS; ++i)
    further.emplace_back(ERR_LOCATION + i, unit.mring[i]);
  return support::refusal(SUB_SELECTOR, unit.number, further);
}

/// What a run is expected to do.
struct Row {
  const char *what;
  RunInput input;
  UnitWords unit;
  Lines calls;
  Words data = {};  ///< _DATA from word 0; what follows is as it was
  std::optional<Record> record = {};
};

void check(const Row &row) {
  SCOPED_TRACE(fmt::format("{}: {}", row.input.macro, row.what));
  const RunResult run = run_macro(row.input, row.unit);
  support::expect_run(run, row.input, row.calls, row.data, row.record);
  EXPECT_EQ(run.status, row.record ? MACRO_FAILED : 0);
  EXPECT_EQ(run.result, row.record ? -1 : 0);
}

/// A failure left over from an earlier run: the macros clear it.
constexpr macro_word STALE = MACRO_FAILED;

TEST(CrossbarRam, OneEntry) {
  support::Attached<support::ScriptedMachine> machine;
  for (const unsigned code : {0x34U, 0x35U, 0x36U})
    machine->on_jtag_read(code, [code](unsigned) { return 0xAB00 + code; });
  for (const macro_word type : {4U, 16U}) {
    const UnitWords unit = crossbars(type);
    const auto run = [](macro_word rw, macro_word place, Words data = {}) {
      return RunInput{"xb_9400_0101", rw, {place}, std::move(data), 64, STALE};
    };
    const Lines reads{"read 34", "read 35", "read 36"};
    const Words data{0x11, 0x22, 0x33};
    const Lines writes{"mjtag B4 11", "mjtag B5 22", "mjtag B6 33"};
    const Words entry{0xAB34, 0xAB35, 0xAB36};
    check({"read", run(1, 0x00D301FF), unit, Lines{"bcast", "write 88 40D301FF"} + reads, entry});
    check({"read, all bits", run(1, 0xFFFFFFFF), unit, Lines{"bcast", "write 88 7FFFFFFF"} + reads, entry});
    check({"write", run(2, 0x00D301FF, data), unit, writes + Lines{"mjtag 88 80D301FF"}, data});
    check({"write, all bits", run(2, 0xFFFFFFFF, data), unit, writes + Lines{"mjtag 88 BFFFFFFF"}, data});
    check({"no direction", run(3, 0x00D301FF), unit, {}, {0}});

    const UnitWords nowhere = crossbars(type, 0x10000);
    check({"no group", run(1, 0), nowhere, {"bcast"}, {0}, refused_unit(nowhere)});
  }
}

TEST(CrossbarRam, DumpGoesThroughAllRams) {
  support::Attached<support::ScriptedMachine> machine;
  for (const unsigned code : {0x34U, 0x35U, 0x36U})
    machine->on_jtag_read(code, [code](unsigned count) { return code << 24 | count; });
  Lines calls{"bcast"};
  Words data;
  macro_word count = 0;
  for (macro_word ram = 0x90; ram <= 0xEB; ++ram)
    for (macro_word entry = 0; entry < 512 && (ram < 0xD4 || ram > 0xDF); ++entry, ++count) {
      calls.push_back(fmt::format("write 88 {:X}", 0x40000000 + ram * 0x10000 + entry));
      for (const macro_word code : {0x34U, 0x35U, 0x36U}) {
        calls.push_back(fmt::format("read {:X}", code));
        data.push_back(code << 24 | count);
      }
    }
  ASSERT_EQ(data.size(), 122880U);
  for (const macro_word type : {4U, 16U}) {
    const RunResult run = run_macro({"xb_9408_0101", 0, {}, {}, data.size() + 3, STALE}, crossbars(type));
    EXPECT_TRUE(run.calls == calls) << "other accesses";
    EXPECT_EQ(run.written.size(), data.size());
    if (type == 4) {
      EXPECT_TRUE(std::ranges::equal(data, std::span(run.data).first(data.size()))) << "other words";
    }
    EXPECT_EQ(run.status, 0U);
    EXPECT_EQ(run.result, 0);
  }
  const UnitWords nowhere = crossbars(16, 0);
  check({"no group", {"xb_9408_0101"}, nowhere, {"bcast"}, {0}, refused_unit(nowhere)});
}

TEST(Crossbar, OtherUnitTypesAreRefused) {
  const support::Attached<support::ScriptedMachine> machine;
  for (const macro_word type : {0U, 1U, 2U, 5U, 8U, 20U, 32U, MACRO_ALL}) {
    const UnitWords unit = crossbars(type);
    for (const char *macro : {"xb_9400_0101", "xb_9408_0101", "xb_9430_0101"})
      check({"type", {macro, 1}, unit, {}, {0}, refused_unit(unit)});
    check({"write", {"xb_9400_0101", 2, {5}}, unit, {}, {}, refused_unit(unit)});
    check({"type", {"xb_9434_0101"}, unit, {}, {0}, refused_unit(unit, {{ERR_PLACE, type}})});
  }
  // The links are looked after for one of the crossbar types alone.
  const UnitWords unit = crossbars(16);
  check({"links", {"xb_9430_0101"}, unit, {}, {0}, refused_unit(unit)});
  check({"links", {"xb_9434_0101"}, unit, {}, {0}, refused_unit(unit, {{ERR_PLACE, 16}})});
  const UnitWords nowhere = crossbars(4, 0);
  check({"no group", {"xb_9430_0101"}, nowhere, {"bcast"}, {0}, refused_unit(nowhere)});
}

/// Macros outside the library, with a link state for every port and side.
class Links : public testing::Test {
 protected:
  static constexpr macro_word GOOD = 0xFFFF88FF;

  Links() {
    machine_->offered = {0x1480, 0x1481, 0x1482, 0x1483, 0x1484, 0x1485, 0x1488, 0x148C};
    machine_->on_nested = [this](const scdb::NestedCall &call) {
      const auto words = [](const macro_word *from, unsigned count) { return Words(from, from + count); };
      EXPECT_NE(call.exp, nullptr) << "it is not given the expected words";
      calls_.push_back({call.number, words(call.para, 16), words(call.data, 16), words(call.unit.mring, MRING_WORDS)});
      _RETURN = 1;  // a status short of failure, which does not outlive the test
      if (call.number == 0x1480) {
        call.data[0] = mode_ | 0xFF3FFFFF;
      } else if (call.number == 0x1488) {
        const bool second = second_side_[call.unit.number]++ % 2 != 0;
        call.data[0] = call.unit.number == bad_port_ && second == bad_second_side_ ? bad_state_ : GOOD;
      }
      return scdb::Outcome::success();
    };
  }

  struct Nested {
    macro_word number;
    Words para;
    Words data;
    Words mring;
  };

  support::Attached<support::ScriptedMachine> machine_;
  macro_word mode_ = 0;
  macro_word bad_port_ = 0;
  bool bad_second_side_ = false;
  macro_word bad_state_ = 0;
  std::vector<Nested> calls_;

 private:
  std::map<macro_word, unsigned> second_side_;
};

/// The calls of a link check.
Lines check_calls(const Lines &training, const std::string &indent = "") {
  Lines calls{indent + "call 1 1480 unit 4 1"};
  for (const std::string &number : training)
    calls.push_back(fmt::format("{}call FFFFFFFF {} unit 4 FF", indent, number));
  for (macro_word port = 1; port <= 128; port *= 2)
    calls.insert(calls.end(), 2, fmt::format("{}call FFFFFFFF 1488 unit 4 {:X}", indent, port));
  return calls;
}
const Lines LONG_TRAINING{"1482", "1481", "1482", "1483", "1484", "1485"};

TEST_F(Links, TrainingFollowsTheMode) {
  const std::map<macro_word, Lines> training{
      {0x00000000, LONG_TRAINING},
      {0x00400000, {"1482", "1481", "1482", "1483", "1482", "1484", "1485"}},
      {0x00800000, {"1482", "1483", "1484", "1485"}},
      {0x00C00000, LONG_TRAINING},
  };
  for (const auto &[mode, numbers] : training) {
    mode_ = mode;
    check({"all links good", {"xb_9434_0101", 9, {}, {}, 64, STALE}, crossbars(4), check_calls(numbers), {0}});
  }
}

TEST_F(Links, BlocksOfTheCalls) {
  mode_ = 0x00400000;
  ASSERT_EQ(run_macro({"xb_9434_0101"}, crossbars(4)).status, 0U);
  Words all_boards(MRING_WORDS, 0);
  std::fill_n(all_boards.begin(), 8, 3);
  const auto block = [](macro_word first, macro_word second) {
    Words words(16, 0);
    words[0] = first;
    words[1] = second;
    words[2] = 1;
    return words;
  };
  ASSERT_EQ(calls_.size(), 24U);
  EXPECT_EQ(calls_[0].data, Words(16, 0));
  for (std::size_t i = 0; i < calls_.size(); ++i) {
    SCOPED_TRACE(fmt::format("call {}: {:X}", i, calls_[i].number));
    EXPECT_EQ(calls_[i].mring, all_boards);
    // The second calibration begins from scratch; of each port the second side is asked after the first.
    const bool second_side = i >= 8 && i % 2 != 0;
    EXPECT_EQ(calls_[i].para, block(i == 3 ? 0x03000080 : 0x03000000, second_side ? 0x00200000 : 0));
  }
}

TEST_F(Links, FailingPortsMakeTheMask) {
  for (unsigned port = 0; port < 8; ++port)
    for (const bool second_side : {false, true})
      for (const macro_word state : {0x00000000U, 0x00008000U, 0xFFFF89FFU, 0x00880088U}) {
        bad_port_ = 1U << port;
        bad_second_side_ = second_side;
        bad_state_ = state;
        const macro_word mask = bad_port_ << (second_side ? 16 : 0);
        check({"bad link", {"xb_9434_0101"}, crossbars(4), check_calls(LONG_TRAINING), {mask}});

        const Lines driver{"bcast", "call FFFFFFFF 148C unit 4 FF", "call FFFFFFFF 9434 unit 4 FF"};
        check({"bad link",
               {"xb_9430_0101", 0, {}, {}, 64, STALE},
               crossbars(4),
               driver + check_calls(LONG_TRAINING, "  "),
               {mask},
               support::refusal(SUB_COUNT, mask)});
      }
}

TEST_F(Links, DriverOpensThePortsOfEightBoards) {
  const RunResult run = run_macro({"xb_9430_0101", 0, {}, {}, 64, STALE}, crossbars(4));
  EXPECT_EQ(run.data[0], 0U);
  EXPECT_EQ(run.status, 0U);
  EXPECT_EQ(run.result, 0);
  ASSERT_FALSE(calls_.empty());
  Words open(16, 0);
  std::fill_n(open.begin(), 8, 0x03000003);
  Words all_boards(MRING_WORDS, 0);
  std::fill_n(all_boards.begin(), 8, 3);
  EXPECT_EQ(calls_[0].number, 0x148CU);
  EXPECT_EQ(calls_[0].para, open);
  EXPECT_EQ(calls_[0].data, Words(16, 0));
  EXPECT_EQ(calls_[0].mring, all_boards);
}

/// A server with these lines on top of a built-in one.
std::string server(const char *base, const std::string &lines) {
  return fmt::format("base = \"{}\"\n{}", base, lines);
}

std::string fault(const char *chip, const char *place, const char *kind) {
  return fmt::format("[[fault]]\nchip = \"{}\"\nplace = \"{}\"\n{}\n", chip, place, kind);
}

TEST(SimulatedCrossbar, LinkTest) {
  struct LinkRow {
    std::string description;
    macro_word mask;
  };
  const auto bad_link = [](const char *chip) { return fmt::format("[[chip]]\nchip = \"{}\"\nlink = 0\n", chip); };
  const auto mode = [](unsigned number) { return fmt::format("[xb]\nlink-mode = {}\n", number); };
  for (const LinkRow &row : std::vector<LinkRow>{
           {server("default", ""), 0},
           {server("default", mode(0)), 0},
           {server("default", mode(2)), 0},
           {server("default", mode(3)), 0},
           {server("default", "[[board]]\nnumber = 1\nxb = 1\n"), 0},
           {server("large", ""), 0},
           {server("default", bad_link("xb:0.1")), 0x00010000},
           {server("large", bad_link("xb:7.0")), 0x00000080},
           {server("large", bad_link("xb:7.1")), 0x00800000},
           {server("large", bad_link("xb:*.0") + bad_link("xb:3.1")), 0x000800FF},
           {server("large", bad_link("xb:8.0")), 0},
           {server("large", mode(2) + bad_link("xb:2.1")), 0x00040000},
           {server("default", fault("xb:1.0", "register link", "kind = \"stuck-0\"\nbits = 0x0800")), 0x00000002},
           {server("default", fault("xb:1.1", "register link", "kind = \"stuck-1\"\nbits = 0x0100")), 0x00020000},
           {server("default", fault("xb:0.0", "register link setting", "kind = \"does-not-hold\"")), 0x00000001},
           {server("default", fault("xb:0.1", "register port", "kind = \"stuck-0\"\nbits = 0x02000000")), 0x00010000},
       }) {
    SCOPED_TRACE(row.description);
    const support::Server machine(row.description);
    const UnitWords unit = support::one_chip(scdb::ChipKind::xb);
    for (const char *when : {"from power-on", "again"}) {
      SCOPED_TRACE(when);
      const RunResult check = run_macro({"xb_9434_0101"}, unit);
      EXPECT_EQ(check.data[0], row.mask);
      EXPECT_EQ(check.status, 0U);
      const RunResult test = run_macro({"xb_9430_0101"}, unit);
      EXPECT_EQ(test.data[0], row.mask);
      EXPECT_EQ(test.status, row.mask == 0 ? 0 : MACRO_FAILED);
      EXPECT_EQ(test.err[ERR_VALUE], row.mask == 0 ? support::ERR_BACKGROUND : row.mask);
    }
  }
}

/// A step of the firmware that fails ends the test with the chip in the record.
TEST(SimulatedCrossbar, FirmwareFails) {
  for (const char *number : {"0x1480", "0x1481", "0x1482", "0x1483", "0x1484", "0x1485", "0x1488", "0x148C"}) {
    SCOPED_TRACE(number);
    const std::string place = fmt::format("nested {}", number);
    const support::Server machine(server("default", fault("xb:0.1", place.c_str(), "kind = \"macro-failed\"")));
    const RunResult run = run_macro({"xb_9430_0101"}, support::one_chip(scdb::ChipKind::xb));
    EXPECT_EQ(run.status, MACRO_FAILED);
    EXPECT_EQ(run.result, -1);
    EXPECT_EQ(run.err[ERR_REASON], static_cast<macro_word>(scdb::Reason::macro_failed));
    EXPECT_EQ(run.err[ERR_CODE], std::stoul(number, nullptr, 16));
    EXPECT_EQ(run.err[ERR_PLACE], 0x04000100U);
    EXPECT_EQ(run.err[ERR_SUBCODE], support::ERR_BACKGROUND);
  }
}

TEST(SimulatedCrossbar, RamsHoldWhatIsWritten) {
  const support::Server machine(
      server("default", fault("xb:0.0", "array RAM 0xE0", "kind = \"flip\"\nbits = 0x00000010\nentry = 511")));
  const UnitWords unit = support::one_chip(scdb::ChipKind::xb);
  const auto write = [](macro_word place, const Words &data, const UnitWords &to) {
    EXPECT_EQ(run_macro({"xb_9400_0101", 2, {place}, data}, to).status, 0U);
  };
  const auto read = [&unit](macro_word place) {
    const RunResult run = run_macro({"xb_9400_0101", 1, {place}}, unit);
    EXPECT_EQ(run.status, 0U);
    return Words(run.data.begin(), run.data.begin() + 3);
  };
  // The first RAM's first entry, either side of the gap, and the last RAM's last entry.
  const std::vector<std::pair<macro_word, std::size_t>> places{
      {0x00900000, 0}, {0x00D301FF, 68 * 512 - 1}, {0x00E00000, 68 * 512}, {0x00EB01FF, 80 * 512 - 1}};
  for (const auto &[place, entry] : places)
    write(place, {place + 1, place + 2, place + 3}, unit);
  for (const auto &[place, entry] : places)
    write(place, {0, 0, 0}, support::one_chip(scdb::ChipKind::xb, 1, 1));
  const RunResult dump = run_macro({"xb_9408_0101", 0, {}, {}, std::size_t{80} * 512 * 3}, unit);
  EXPECT_EQ(dump.status, 0U);
  for (const auto &[place, entry] : places) {
    const Words words{place + 1, place + 2, place + 3};
    EXPECT_EQ(read(place), words);
    EXPECT_TRUE(std::ranges::equal(words, std::span(dump.data).subspan(entry * 3, 3))) << entry;
  }
  write(0x00E001FF, {1, 2, 3}, unit);
  EXPECT_EQ(read(0x00E001FF), (Words{0x11, 2, 3})) << "a fault of one entry";

  for (const macro_word missing : {0x008F0000U, 0x00D40000U, 0x00DF0000U, 0x00EC0000U, 0x00900200U}) {
    const RunResult run = run_macro({"xb_9400_0101", 1, {missing}}, unit);
    EXPECT_EQ(run.status, MACRO_FAILED);
    EXPECT_EQ(run.err[ERR_REASON], static_cast<macro_word>(scdb::Reason::no_entry));
  }
}

}  // namespace
