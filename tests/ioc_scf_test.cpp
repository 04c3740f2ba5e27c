#include <fmt/format.h>
#include <gtest/gtest.h>

#include "support/support.hpp"

using scdb::ChipKind;
using support::run_macro;
using support::RunInput;
using support::RunResult;
using Lines = std::vector<std::string>;
using Words = std::vector<macro_word>;

namespace {

const support::UnitWords IOC = support::one_chip(ChipKind::ioc);
const support::UnitWords SP = support::one_chip(ChipKind::sp);

constexpr macro_word READ = 1;
constexpr macro_word WRITE = 2;

// The bridge.

TEST(IoBridge, CommandWords) {
  const support::Attached<support::ScriptedMachine> machine;
  struct Row {
    const char *what;
    RunInput input;
    Lines words;  ///< device and word of each transfer
  };
  const Lines close{"BC 0"};
  for (const Row &row : {
           Row{"read, all bits of the address but the lane's",
               {"io_96F1_0101", READ, {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFF3}},
               {"BC 0", "BC D0000000", "BD FAFFFFC0", "BD 7FFFFFC0", "BC E0000000", "BD F0000000", "BC 0"}},
           Row{"read, last lane, nothing else",
               {"io_96F1_0101", READ, {0xFFFFFFFE, 0x80000000, 0x0000000C}},
               {"BC 0", "BC 90000000", "BD 7A000000", "BD 0", "BC A0000000", "BD F0000", "BC 0"}},
           Row{"write, third lane",
               {"io_96F1_0101", WRITE, {0x00000001, 0x00005A5A, 0xA1B2C318}, {0x12345678}},
               {"BC 0", "BC D0000000", "BD F8B2C300", "BD 5A5AA140", "BC E0000000", "BD F00000", "BD 0", "BD 0",
                "BD 12345678", "BD 0", "BC 0"}},
           Row{"write, second lane",
               {"io_96F1_0101", WRITE, {0, 1, 0x00000024}, {0xFFFFFFFF}},
               {"BC 0", "BC 90000000", "BD 78000000", "BD 10080", "BC A0000000", "BD F000000", "BD 0", "BD FFFFFFFF",
                "BD 0", "BD 0", "BC 0"}},
           Row{"no direction", {"io_96F1_0101", 0, {1, 1, 4}}, {"BC 0"}},
           Row{"no such direction", {"io_96F1_0101", 3, {1, 1, 4}}, {"BC 0"}},
       }) {
    SCOPED_TRACE(row.what);
    const RunResult run = run_macro(row.input, IOC);
    Lines calls;
    for (const std::string &word : row.words)
      calls.push_back("i2c write " + word + " mode 3");
    EXPECT_EQ(run.calls, calls);
    EXPECT_EQ(run.result, -1);
    EXPECT_EQ(run.status, 0U);
    EXPECT_TRUE(run.written.empty());
  }
}

/// The line that the bridge has read last.
Words bridge_line(const support::UnitWords &unit) {
  const RunResult run = run_macro({"sp_8000_0000", READ, {0xBE, 16, 3}}, unit);
  EXPECT_EQ(run.status, 0U);
  return {run.data.begin(), run.data.begin() + 4};
}

struct Register {
  macro_word port, unit, address;
};
/// One in each place behind the bridge, lanes 0 to 3 in turn.
constexpr Register REGISTERS[] = {
    {0, 0x0000, 0x00000000}, {1, 0x0000, 0x000000F4}, {0, 0x0001, 0x00FC5A38}, {1, 0x0001, 0x00FC5A0C},
    {0, 0x2AAA, 0xA5000050}, {1, 0x2AAA, 0xA5000064}, {0, 0x7FFF, 0xFFFFFF98}, {1, 0x7FFF, 0xFFFFFFFC},
};

TEST(IoBridge, WrittenRegistersReadBack) {
  const support::Server server;
  const auto access = [](macro_word rw, const Register &where, Words data) {
    return run_macro({"io_96F1_0101", rw, {where.port, where.unit, where.address}, std::move(data)}, IOC);
  };
  // All written before any is read: no two are the same register.
  for (const Register &where : REGISTERS)
    EXPECT_EQ(access(WRITE, where, {where.address ^ where.port ^ 0x5A5A5A5A}).status, 0U);
  for (const Register &where : REGISTERS) {
    SCOPED_TRACE(fmt::format("port {} unit {:X} address {:X}", where.port, where.unit, where.address));
    EXPECT_EQ(access(READ, where, {}).status, 0U);
    Words line(4);
    line[where.address / 4 % 4] = where.address ^ where.port ^ 0x5A5A5A5A;
    EXPECT_EQ(bridge_line(IOC), line);
  }
}

TEST(IoBridge, OtherLanesKeepTheirWords) {
  const support::Server server;
  const auto line = [](macro_word rw, macro_word lane, macro_word word) {
    const RunResult run = run_macro({"io_96F1_0101", rw, {0, 0, lane * 4}, {word}}, IOC);
    EXPECT_EQ(run.status, 0U);
    return bridge_line(IOC)[lane];
  };
  Words before;
  for (macro_word lane = 0; lane < 4; ++lane)
    before.push_back(line(READ, lane, 0));
  line(WRITE, 2, ~before[2]);
  before[2] = ~before[2];
  for (macro_word lane = 0; lane < 4; ++lane)
    EXPECT_EQ(line(READ, lane, 0), before[lane]) << lane;
}

TEST(IoBridge, RefusesWhatItDoesNotHave) {
  const support::Server server;
  for (const Register &where : {Register{0, 2, 0}, Register{0, 0, 0x100}, Register{0, 1, 0x00FC5900}}) {
    const RunResult run = run_macro({"io_96F1_0101", READ, {where.port, where.unit, where.address}}, IOC);
    EXPECT_EQ(run.status, MACRO_FAILED);
    EXPECT_EQ(run.calls.size(), 4U);
    EXPECT_EQ(run.err[ERR_REASON], static_cast<macro_word>(scdb::Reason::no_register));
  }
  // It was left in the middle of its sequence, and starts afresh.
  EXPECT_EQ(run_macro({"io_96F1_0101", READ, {0, 0, 0}}, IOC).status, 0U);
  // A word out of sequence is not acknowledged.
  const RunResult run = run_macro({"sp_8000_0000", WRITE, {0xBD, 4, 3}, {0x7A000000}}, IOC);
  EXPECT_EQ(run.err[ERR_REASON], static_cast<macro_word>(scdb::Reason::no_acknowledge));
}

// The repeated macro.

TEST(Repeat, CountsRunsByTheirTwoResultWords) {
  constexpr macro_word NUMBER = 0x1234;
  support::Attached<support::ScriptedMachine> machine;
  machine->offered = {NUMBER};
  unsigned runs = 0;
  unsigned failing = 0;  // the run that fails, 0 = none
  machine->on_nested = [&](const scdb::NestedCall &call) {
    EXPECT_EQ(call.rw, READ);
    EXPECT_EQ(call.para[1], 0x22U) << "it is given other parameters";
    EXPECT_NE(call.exp, nullptr) << "it is not given the expected words";
    ++runs;
    if (runs == failing)
      return scdb::Outcome::failure(scdb::Reason::macro_failed);
    // Every third run has another first word, every fifth another second one.
    call.data[0] = runs % 3 == 0 ? 0 : 0xAAAA;
    call.data[1] = runs % 5 == 0 ? 0 : 0xBBBB;
    return scdb::Outcome::success();
  };
  struct Row {
    macro_word repeat;
    unsigned failing;
    unsigned made;
    macro_word matches;
    macro_word mismatches;
  };
  for (const Row &row : {Row{0, 0, 0, 0, 0}, Row{1, 0, 1, 1, 0}, Row{15, 0, 15, 8, 7}, Row{15, 4, 4, 2, 1}}) {
    SCOPED_TRACE(fmt::format("{} times, run {} fails", row.repeat, row.failing));
    runs = 0;
    failing = row.failing;
    const RunResult run = run_macro({"io_9685_0101", 0, {0x11, 0x22, 0xAAAA, 0xBBBB, NUMBER, row.repeat}}, IOC);
    EXPECT_EQ(runs, row.made);
    EXPECT_EQ(run.data[0], row.matches);
    EXPECT_EQ(run.data[1], row.mismatches);
    EXPECT_EQ(run.written, (std::vector<std::size_t>{0, 1}));
    EXPECT_EQ(run.calls, Lines(row.made, "call 1 1234"));
    EXPECT_EQ(run.status, row.failing != 0 ? MACRO_FAILED : 0);
    EXPECT_EQ(run.result, row.failing != 0 ? -1 : 0);
  }
}

/// A macro of the library that returns -1 without having failed is repeated to the end, and its result handed on.
TEST(Repeat, HandsOnTheLastResult) {
  const support::Server server;
  const RunResult run = run_macro({"io_9685_0101", 0, {0, 0, 0, 0, 0x96F1, 3}}, IOC);
  EXPECT_EQ(run.status, 0U);
  EXPECT_EQ(run.result, -1);
  EXPECT_EQ(run.data[0], 3U);
}

// The service processor.

TEST(ServiceProcessor, WordsGoStraightToThePrimitive) {
  const support::Attached<support::ScriptedMachine> machine;
  struct Row {
    RunInput input;
    Lines calls;
    int result = -1;
  };
  const Words para{0x2A, 6, 3};
  const Words address{2, 0x10110, 1};
  for (const Row &row : {
           Row{{"sp_8000_0000", READ, para}, {"i2c read 2A length 6 mode 3"}},
           Row{{"sp_8000_0000", WRITE, para, {0xCAFE}}, {"i2c write 2A CAFE length 6 mode 3"}},
           Row{{"sp_8000_0000", 0, para}, {}, 0},
           Row{{"sp_8000_0000", 3, para}, {}, 0},
           Row{{"sp_8001_0000", READ, address}, {"mbc read 2 10110 1"}},
           Row{{"sp_8001_0000", WRITE, address, {0xCAFE}}, {"mbc write 2 10110 1 CAFE"}},
           Row{{"sp_8001_0000", 0, address}, {}, 0},
           Row{{"sp_8001_0000", 3, address}, {}, 0},
           Row{{"sp_8002_0000", READ, address}, {"mbc read 2 10110 1 [0 FFFFFFFF]"}},
           Row{{"sp_8002_0000", WRITE, address, {0xCAFE}}, {"mbc write 2 10110 1 CAFE [0 FFFFFFFF]"}},
           Row{{"sp_8002_0000", 0, address}, {}, 0},
           Row{{"sp_8002_0000", 3, address}, {}, 0},
       }) {
    SCOPED_TRACE(fmt::format("{} _RW {}", row.input.macro, row.input.rw));
    RunInput input = row.input;
    input.status = 5;
    const RunResult run = run_macro(input, SP);
    EXPECT_EQ(run.calls, row.calls);
    EXPECT_EQ(run.result, row.result);
    EXPECT_EQ(run.status, 5U);
  }
}

TEST(ServiceProcessor, DevicesKeepWhatIsWritten) {
  const support::Server server;
  const auto access = [](macro_word rw, macro_word device, macro_word length, Words data) {
    const RunResult run = run_macro({"sp_8000_0000", rw, {device, length, 2}, std::move(data)}, SP);
    EXPECT_EQ(run.status, 0U);
    return run.data;
  };
  access(WRITE, 0xA0, 8, {0x11223344, 0x55667788});
  access(WRITE, 0xA0, 6, {0xAABBCCDD, 0xEEFF0000});
  Words data = access(READ, 0xA0, 8, {});
  EXPECT_EQ(data[0], 0xAABBCCDDU);
  EXPECT_EQ(data[1], 0xEEFF7788U);
  data = access(READ, 0xA0, 5, {});
  EXPECT_EQ(data[1], 0xEE000000U);
  EXPECT_EQ(data[2], support::background(2));

  for (const Words &none : {Words{0x13, 4, 2}, Words{0xA0, 4097, 2}, Words{0x18, 65, 2}, Words{0xA0, 4, 1}})
    EXPECT_EQ(run_macro({"sp_8000_0000", READ, none}, SP).status, MACRO_FAILED);
}

/// One macro writes the registers of all service processors, the other reads those of the first alone.
TEST(ServiceProcessor, RegistersOfAllAndOfTheFirst) {
  const support::Server server;
  const support::UnitWords all = support::all_chips(ChipKind::sp);
  const support::UnitWords last = support::one_chip(ChipKind::sp, 1, 1);
  const auto access = [](const char *macro, macro_word rw, const support::UnitWords &unit, Words para, Words data) {
    const RunResult run = run_macro({macro, rw, std::move(para), std::move(data)}, unit);
    EXPECT_EQ(run.status, 0U);
    return run.data[0];
  };
  access("sp_8001_0000", WRITE, all, {1, 0x30002, 4}, {0x01020304});
  access("sp_8002_0000", WRITE, all, {1, 0x30003, 1}, {0xFFFFFFAA});
  access("sp_8001_0000", WRITE, last, {2, 0x30002, 4}, {0});
  EXPECT_EQ(access("sp_8002_0000", READ, all, {1, 0x30002, 4}, {}), 0x01AA0304U);
  EXPECT_EQ(access("sp_8001_0000", READ, last, {1, 0x30002, 4}, {}), 0x01020304U);
  EXPECT_EQ(access("sp_8001_0000", READ, all, {1, 0x30002, 2}, {}), 0x01AAU | 0x0102U);
  EXPECT_EQ(access("sp_8001_0000", READ, last, {1, 0x30005, 1}, {}), 0x04U);
}

}  // namespace
