#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

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

/// Chips 0 and 2 of board 1, with chips of all other kinds, and chip 3 of board 4.  Board 3 is in the unit without a
/// chip; board 2 has chips and is not.
UnitWords some_controllers() {
  UnitWords unit{2, 0x1A, {}};
  unit.mring[1] = 0xFFFFF5FF;
  unit.mring[2] = 0xF00;
  unit.mring[4] = 0x800;
  return unit;
}
const UnitWords CONTROLLERS = some_controllers();
const Lines CHIPS{"[FFFFFFFF 2 100]", "[FFFFFFFF 2 400]", "[FFFFFFFF 10 800]"};

/// What a run is expected to do.
struct Row {
  const char *what;
  RunInput input;
  Lines calls;
  Words data = {};  ///< _DATA from word 0; what follows is as it was
  std::optional<Record> record = {};
  int result = 0;
  UnitWords unit = CONTROLLERS;
};

void check(const Row &row) {
  SCOPED_TRACE(fmt::format("{}: {}", row.input.macro, row.what));
  const RunResult run = run_macro(row.input, row.unit);
  support::expect_run(run, row.input, row.calls, row.data, row.record);
  EXPECT_EQ(run.status, row.record ? MACRO_FAILED : row.input.status);
  EXPECT_EQ(run.result, row.result);
}

/// Registers of a bank: the bit of _PARA[0] that selects one, and its read instruction.
struct Register {
  unsigned number;
  unsigned read;
};
struct Bank {
  const char *macro;
  std::vector<Register> registers;
  std::size_t words;
};

std::vector<Bank> banks() {
  std::vector<Register> long_bank;
  for (unsigned k = 0; k <= 20; ++k)
    long_bank.push_back({k, 64 + k});
  return {{"sc_9201_0101", {{0, 16}, {1, 17}, {9, 21}}, 10},
          {"sc_9202_0101", {{0, 27}, {1, 28}, {2, 29}, {3, 30}}, 4},
          {"sc_9203_0101", long_bank, 21}};
}

TEST(RegisterBank, ReadsTheSelectedRegisters) {
  for (const Bank &bank : banks()) {
    support::Attached<support::ScriptedMachine> machine;
    Lines all{"bcast"};
    Words words(bank.words, 0);
    macro_word selected = 0;
    for (const Register &row : bank.registers) {
      const macro_word value = 0x12345600 + row.read;  // not cut to the registers' width
      machine->on_jtag_read(row.read, [value](unsigned) { return value; });
      all.push_back(fmt::format("read {:X}", row.read));
      words[row.number] = value;
      selected |= 1U << row.number;
    }
    check({"all registers", {bank.macro, 1, {0xFFFFFFFF}, {}, 64, 5}, all, words});

    const Register last = bank.registers.back();
    Words one(bank.words, 0);
    one[last.number] = words[last.number];
    check({"the last", {bank.macro, 1, {1U << last.number, 0xFFFFFFFF}}, {"bcast", all.back()}, one});
    check({"bits without a register", {bank.macro, 1, {~selected}}, {"bcast"}, Words(bank.words, 0)});
    check({"no direction", {bank.macro, 3, {0xFFFFFFFF}}, {}});
  }
}

/// A write of a whole bank on a machine whose chips hold what is written, but for one register of one chip.
struct WriteRun {
  Bank bank;
  macro_word selected = 0xFFFFFFFF;
  macro_word forced = 0;
  std::size_t sick_chip = 99;   ///< index into CHIPS
  unsigned sick_register = 99;  ///< index into the bank
  std::optional<Record> record = {};
};

void check_write(const char *what, const WriteRun &write) {
  support::Attached<support::ScriptedMachine> machine;
  const macro_word width = std::string_view(write.bank.macro) == "sc_9202_0101" ? 0xFFFF : 0xFFFFFFFF;
  Words given;
  Words kept;
  for (std::size_t k = 0; k < write.bank.words; ++k) {
    const macro_word word = 0x12345678 + static_cast<macro_word>(k) * 0x01010101;
    given.push_back(k % 2 == 0 ? word : ~word);
    kept.push_back(given[k] & width);
  }
  Lines writes;
  Lines reads;
  for (unsigned i = 0; i < write.bank.registers.size(); ++i) {
    const auto [number, read] = write.bank.registers[i];
    if ((write.selected >> number & 1) == 0)
      continue;
    const macro_word value = kept[number];
    const std::size_t sick_chip = i == write.sick_register ? write.sick_chip : CHIPS.size();
    machine->on_jtag_read(read, [=](unsigned count) { return count == sick_chip ? value ^ 0x8000 : value; });
    writes.push_back(fmt::format("mjtag {:X} {:X}", read | 0x80, value));
    reads.push_back(fmt::format("read {:X} ", read));
  }
  Lines calls = writes;
  for (const std::string &chip : CHIPS)
    for (const std::string &read : reads)
      calls.push_back(read + chip);
  check({what,
         {write.bank.macro, 2, {write.selected, write.forced}, given},
         calls,
         kept,
         write.record,
         write.record ? -1 : 0});
}

TEST(RegisterBank, IsWrittenToAllChipsAndProvedOnEach) {
  // Failing boards in word 6, each board's failing chips from word 8.
  const auto failing = [](macro_word boards, macro_word board_1, macro_word board_4) {
    std::vector<std::pair<unsigned, macro_word>> chips;
    for (unsigned i = 0; i < MRING_WORDS; ++i)
      chips.emplace_back(ERR_LOCATION + i, i == 1 ? board_1 : i == 4 ? board_4 : 0);
    return support::refusal(SUB_THIRD, boards, chips);
  };
  for (const Bank &bank : banks()) {
    const unsigned last = bank.registers.back().number;
    check_write("every chip holds", {bank});
    check_write("one register", {bank, 1U << last});
    check_write("no register", {bank, 0});
    check_write("the first register of a chip does not hold", {bank, ~0U, 0, 1, 0, failing(0x02, 0x400, 0)});
    check_write("the last register of a chip does not hold",
                {bank, ~0U, 0, 2, static_cast<unsigned>(bank.registers.size() - 1), failing(0x10, 0, 0x800)});
    check_write("forced to fail", {bank, ~0U, 1U << last, 99, 99, failing(0x12, 0x500, 0x800)});
    check_write("forced, and not selected", {bank, 1, ~1U});
  }
}

/// What lmcr_bcast does not take: the record has the unit number and the location words.
TEST(RegisterBank, RefusesALocationThatIsNoGroup) {
  const support::Attached<support::ScriptedMachine> machine;
  const UnitWords nowhere{2, 0x10000, CONTROLLERS.mring};
  std::vector<std::pair<unsigned, macro_word>> location;
  for (unsigned i = 0; i < MRING_WORDS; ++i)
    location.emplace_back(ERR_LOCATION + i, nowhere.mring[i]);
  const Record record = support::refusal(SUB_SELECTOR, nowhere.number, location);
  for (const char *macro : {"sc_9201_0101", "sc_9202_0101", "sc_9203_0101", "sc_9211_0101"})
    check({"no group", {macro, 1, {0xFFFFFFFF}}, {"bcast"}, {}, record, -1, nowhere});
}

TEST(CommandRegister, Sequences) {
  const support::Attached<support::ScriptedMachine> machine;
  const auto row = [](const char *what, macro_word selection, const Lines &calls) {
    return Row{
        what, {"sc_9210_0101", 7, {selection}}, calls, {selection & 0xF0000000, 0x70000000 | (selection & 0x1FF), 0x2}};
  };
  const Lines load{"mjtag BA 700001FF", "mjtag BA 10000000"};
  for (const Row &each : {
           row("start", 0x2FFFFFFF, load + Lines{"mjtag BA 20000000"}),
           row("direct", 0x3ABCDEF5, {"mjtag BA 3ABCDEF5"}),
           row("start one board", 0xC00001FF, load + Lines{"mjtag BA C0000000 [FFFFFFFF 2 FFFFFFFF]"}),
           row("direct on one board", 0xDABCDE00, {"mjtag BA DABCDE00 [FFFFFFFF 2 FFFFFFFF]"}),
           row("none", 0x0FFFFFFF, {}),
           row("preset alone", 0x70000001, {}),
           row("load alone", 0x10000001, {}),
           row("not a command", 0xF0000155, {}),
       })
    check(each);
  check({"no board",
         {"sc_9210_0101", 0, {0x20000055}},
         {},
         {0x20000000, 0x70000055, 0},
         support::refusal(SUB_SELECTOR, 0x10000),
         -1,
         {2, 0x10000, CONTROLLERS.mring}});
}

TEST(CommandRegister, IndexedTable) {
  support::Attached<support::ScriptedMachine> machine;
  machine->on_jtag_read(0x3A, [](unsigned count) { return 0xC0DE0000 + count; });
  Lines calls{"bcast"};
  Words words;
  for (macro_word k = 0; k < 32; ++k) {
    calls.push_back(fmt::format("mjtag BA {:X}", 0x80000000 + k * 0x00800000));
    calls.emplace_back("read 3A");
    words.push_back(0xC0DE0000 + k);
  }
  ASSERT_EQ(calls[63], "mjtag BA 8F800000");
  check({"whole table", {"sc_9211_0101", 1}, calls, words});
  check({"no read", {"sc_9211_0101", 2}, {}});

  // Entries that are not reached are cleared.
  support::Recorder recorder(CONTROLLERS);
  recorder.fail_call(2);
  const RunResult stopped = run_macro({"sc_9211_0101", 1}, CONTROLLERS, recorder);
  EXPECT_TRUE(std::all_of(stopped.data.begin(), stopped.data.begin() + 32, [](macro_word word) { return word == 0; }));
  EXPECT_EQ(stopped.data[32], support::background(32));
}

/// A table macro and what is its own in an address register word.
struct Table {
  const char *macro;
  unsigned ways;
  macro_word select;
};
constexpr std::array<Table, 2> TABLES{{{"sc_93C0_0101", 4, 0x00600000}, {"sc_93C1_0101", 2, 0x00640000}}};

/// The byte fields of a row, in the order in which they are moved.
constexpr std::array<macro_word, 10> FIELDS{0x1000, 0x1400, 0x1800, 0x1C00, 0x2000,
                                            0x2400, 0x2800, 0x2C00, 0x3000, 0x3400};

/// The calls of two entries; way k of entry i holds the bytes 16 * (i * ways + k) up.
Lines table_calls(const Table &table, macro_word rw, macro_word first) {
  Lines calls;
  for (macro_word i = 0; i < 2; ++i)
    for (macro_word k = 0; k < table.ways; ++k) {
      const macro_word way = table.select | k << 16;
      const auto address = [&calls, way](macro_word word) {
        calls.push_back(fmt::format("write 88 {:X}", word | way));
      };
      if (rw == 1)
        address(0x40000000 | (first + i));
      for (macro_word f = 0; f < FIELDS.size(); ++f) {
        address(0xC0000000 | FIELDS.at(f));
        calls.push_back(rw == 1 ? "read 34" : fmt::format("write B4 {:X}", 16 * (i * table.ways + k) + f));
      }
      if (rw == 2)
        address(0x80000000 | (first + i));
      address(0xC0003C00);
    }
  return calls;
}

/// _DATA with these bytes; `above` fills the upper half of every way's first word, which the table does not have.
Words table_words(const Table &table, macro_word above) {
  Words words;
  for (macro_word way = 0; way < 2 * table.ways; ++way) {
    const macro_word b = 16 * way;
    words.push_back(above | b << 8 | (b + 1));
    for (const macro_word f : {2U, 6U})
      words.push_back((b + f) << 24 | (b + f + 1) << 16 | (b + f + 2) << 8 | (b + f + 3));
  }
  return words;
}

TEST(TableRam, MovesRowsByteByByte) {
  for (const Table &table : TABLES) {
    support::Attached<support::ScriptedMachine> machine;
    // The data register's upper bits are not part of the byte.
    machine->on_jtag_read(0x34, [](unsigned count) { return 0xFFFFFF00 | (16 * (count / 10) + count % 10); });
    check({"read", {table.macro, 1, {509, 2}, {}, 64, 5}, table_calls(table, 1, 509), table_words(table, 0)});
    const Words data = table_words(table, 0xFFFF0000);
    check({"write", {table.macro, 2, {509, 2}, data}, table_calls(table, 2, 509), data});
    check({"no direction", {table.macro, 3, {0, 1}}, {}});
    check({"no entry", {table.macro, 1, {511, 0}}, {}});
    for (const auto &[first, count, subcode] :
         {std::tuple{512U, 0U, SUB_SELECTOR}, std::tuple{MACRO_ALL, 1U, SUB_SELECTOR}, std::tuple{511U, 1U, SUB_COUNT},
          std::tuple{0U, 512U, SUB_COUNT}, std::tuple{511U, MACRO_ALL, SUB_COUNT}})
      check({"out of range", {table.macro, 1, {first, count}}, {}, {}, support::refusal(subcode, first), -1});
  }
}

/// The two-way table's macro tests no access: it makes all of them and stores what failed reads return.
TEST(TableRam, TwoWayMacroGoesThroughFailures) {
  support::Attached<support::ScriptedMachine> machine;
  machine->on_jtag_read(0x34, [](unsigned) { return 0xFF; });
  for (const macro_word rw : {1U, 2U})
    for (const std::size_t failing : {0U, 4U, 22U, 43U}) {
      SCOPED_TRACE(fmt::format("direction {}, call {}", rw, failing));
      support::Recorder recorder(CONTROLLERS);
      recorder.fail_call(failing);
      const RunResult run = run_macro({"sc_93C1_0101", rw, {20, 1}, {1, 2, 3, 4, 5, 6}}, CONTROLLERS, recorder);
      ASSERT_EQ(run.calls.size(), 44U);
      EXPECT_EQ(run.calls.back(), "write 88 C0653C00");
      EXPECT_EQ(run.status, MACRO_FAILED);
      EXPECT_EQ(run.result, 0);
      EXPECT_EQ(run.err[ERR_REASON], static_cast<macro_word>(scdb::Reason::injected));
      if (rw == 1) {
        EXPECT_EQ(run.data[0], failing == 4 ? 0xFF00U : 0xFFFFU) << "a failed read's byte is 0";
        EXPECT_EQ(run.data[5], 0xFFFFFFFFU);
      }
    }
}

TEST(SimulatedController, ChipThatDoesNotHoldIsNamed) {
  const auto run_bank = [](const char *macro, const std::string &place) {
    const support::Server server(
        fmt::format("base = \"large\"\n[[fault]]\nchip = \"sc:5.2\"\nplace = \"{}\"\n"
                    "kind = \"does-not-hold\"\n",
                    place));
    const UnitWords unit = support::all_chips(scdb::ChipKind::sc);
    EXPECT_EQ(unit.number, 0xFFFFU);
    Words data;
    for (macro_word k = 0; k <= 20; ++k)
      data.push_back(k * 0x04030201 + 77);
    RunResult run = run_macro({macro, 2, {0xFFFFFFFF}, data}, unit);
    // 64 chips read one by one after one write of each register.
    EXPECT_EQ(run.calls.size() % 65, 0U);
    return run;
  };
  for (const auto &[macro, place] : {std::pair{"sc_9201_0101", "jtag 0x95"}, std::pair{"sc_9202_0101", "jtag 0x9D"},
                                     std::pair{"sc_9203_0101", "jtag 0xCC"}}) {
    const RunResult run = run_bank(macro, place);
    EXPECT_EQ(run.status, MACRO_FAILED);
    EXPECT_EQ(run.err[ERR_SUBCODE], SUB_THIRD);
    EXPECT_EQ(run.err[ERR_VALUE], 0x20U);
    for (unsigned board = 0; board < MRING_WORDS; ++board)
      EXPECT_EQ(run.err[ERR_LOCATION + board], board == 5 ? 0x400U : 0U) << "board " << board;
    EXPECT_EQ(run_bank(macro, "ring 0x90").status, 0U) << "a fault elsewhere";
  }
}

TEST(SimulatedController, WhatABankIsGivenIsReadBack) {
  const support::Server server;
  const UnitWords unit = support::all_chips(scdb::ChipKind::sc);
  for (const Bank &bank : banks()) {
    Words data(bank.words, 0);
    for (const Register &row : bank.registers)
      data[row.number] = 0x1000U + row.read;
    const macro_word all = (1U << bank.words) - 1;
    EXPECT_EQ(run_macro({bank.macro, 2, {all}, data}, unit).status, 0U);
    Words read = run_macro({bank.macro, 1, {all}}, unit).data;
    read.resize(bank.words);
    EXPECT_EQ(read, data);
  }
}

/// Each start is noted at the counter's value modulo 32, with the operation in the upper bits.
TEST(SimulatedController, StartsAreNotedInTheTable) {
  const support::Server server;
  const UnitWords unit = support::all_chips(scdb::ChipKind::sc);
  for (const macro_word selection : {0x20000021U, 0x30000002U, 0xC00001E3U, 0xD0000004U})
    EXPECT_EQ(run_macro({"sc_9210_0101", 0, {selection}}, unit).status, 0U);
  const auto starts = [](unsigned board) {
    const UnitWords one = support::one_chip(scdb::ChipKind::sc, board);
    const RunResult run = run_macro({"sc_9211_0101", 1}, one);
    EXPECT_EQ(run.status, 0U);
    return Words(run.data.begin() + 1, run.data.begin() + 5);
  };
  EXPECT_EQ(starts(0), (Words{0x20000021, 0x30000002, 0xC00001E3, 0xD0000004}));
  const Words other = starts(1);
  EXPECT_EQ(other[0], 0x20000021U);
  EXPECT_EQ(other[1], 0x30000002U);
  EXPECT_NE(other[2], 0xC00001E3U) << "a start of one board is not for the others";
  EXPECT_NE(other[3], 0xD0000004U);
}

TEST(SimulatedController, TablesGiveBackWhatWasWritten) {
  const support::Server server;
  const UnitWords unit = support::all_chips(scdb::ChipKind::sc);
  std::vector<Words> written;
  for (const Table &table : TABLES) {
    Words data;
    for (std::size_t i = 0; i < std::size_t{511} * table.ways * 3; ++i)
      data.push_back(support::background(i + table.ways) & (i % 3 == 0 ? 0xFFFF : 0xFFFFFFFF));
    ASSERT_EQ(run_macro({table.macro, 2, {0, 511}, data}, unit).status, 0U);
    written.push_back(data);
  }
  // Both are written before either is read: they are two tables.
  for (std::size_t i = 0; i < TABLES.size(); ++i) {
    const RunResult run = run_macro({TABLES.at(i).macro, 1, {0, 511}, {}, written[i].size()}, unit);
    EXPECT_EQ(run.status, 0U);
    EXPECT_EQ(run.data, written[i]);
    const Words part = run_macro({TABLES.at(i).macro, 1, {300, 1}, {}, std::size_t{3} * TABLES.at(i).ways}, unit).data;
    EXPECT_TRUE(std::ranges::equal(part, std::span(written[i]).subspan(300 * part.size(), part.size())));
  }
}

}  // namespace
