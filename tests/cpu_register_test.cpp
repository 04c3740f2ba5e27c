#include <fmt/format.h>
#include <gtest/gtest.h>

#include "support/support.hpp"

using support::Lines;
using support::run_macro;
using support::RunInput;
using support::RunResult;
using support::operator+;

namespace {

const support::UnitWords CPU = support::one_chip(scdb::ChipKind::cpu, 1, 1);

/// A machine whose control registers and register port answer with known words.
class CpuRegisters : public testing::Test {
 protected:
  static constexpr macro_word PORT_ANSWER = 0x89ABCDEF;
  static constexpr macro_word CONTROL_A = 0xFFFFFFFF;
  static constexpr macro_word CONTROL_B = 0xFFFFFFFF;

  CpuRegisters() {
    machine_->on_jtag_read(0xB1, [](unsigned) { return PORT_ANSWER; });
    machine_->on_jtag_read(0x0F, [](unsigned) { return 0x00000001; });
    machine_->on_jtag_read(0x61, [](unsigned) { return CONTROL_A; });
    machine_->on_jtag_read(0x7E, [](unsigned) { return CONTROL_B; });
  }

  support::Attached<support::ScriptedMachine> machine_;
};

/// What a run is expected to do.
struct Row {
  const char *what;
  RunInput input;
  Lines calls;
  std::vector<macro_word> data = {};  ///< _DATA from word 0
  bool refused = false;
  std::array<macro_word, ERROR_RECORD_WORDS> record = {};
};

void check(const Row &row) {
  SCOPED_TRACE(fmt::format("{}: {}", row.input.macro, row.what));
  const RunResult run = run_macro(row.input, CPU);
  support::expect_run(run, row.input, row.calls, row.data, row.refused ? std::optional(row.record) : std::nullopt);
  EXPECT_EQ(run.status, row.refused ? MACRO_FAILED : row.input.status);
  EXPECT_EQ(run.result, 0);
}

TEST_F(CpuRegisters, DumpReadsBothWordsOfAllRegistersInOrder) {
  Lines calls;
  std::vector<macro_word> words;
  machine_->on_jtag_read(0xB1, [](unsigned count) { return 0x1000 + count; });
  for (const unsigned base : {0U, 16U, 32U})
    for (unsigned number = base; number < base + 8; ++number)
      for (const unsigned operation : {0x60000000U, 0x64000000U}) {
        calls.push_back(fmt::format("write B0 {:X}", operation | number << 20));
        calls.emplace_back("read B1");
        words.push_back(0x1000 + static_cast<macro_word>(words.size()));
      }
  ASSERT_EQ(calls.size(), 96U);
  EXPECT_EQ(calls[94], "write B0 66700000");
  // A status that is no failure comes back as it was.
  check({"whole dump", {"cp_9A10_0101", 7, {0xFFFF}, {}, 64, 5}, calls, words});
}

TEST_F(CpuRegisters, StateAndFixedCommands) {
  const auto command = [](const char *what, macro_word selector, const char *call) {
    return Row{what, {"cp_9A11_0101", 2, {selector}}, {call}};
  };
  const auto refused = [](macro_word selector) {
    return Row{
        "no such command", {"cp_9A11_0101", 2, {selector}}, {}, {}, true, support::refusal(SUB_SELECTOR, selector)};
  };
  for (const Row &row : {
           Row{"state", {"cp_9A11_0101", 1}, {"write B0 6C000000", "read B1", "read F"}, {0xC0000000}},
           command("clear state", 16, "write B0 50000000"),
           command("set state", 17, "write B0 50008000"),
           command("start", 32, "write B0 30000000"),
           command("stop", 33, "write B0 20000000"),
           command("reset", 48, "write B0 10000000"),
           refused(0),
           refused(18),
           refused(0xFFFFFFFF),
           Row{"no direction", {"cp_9A11_0101", 3, {16}}, {}},
       })
    check(row);
  // Each of the two bits comes from its own word, and from one bit of it.
  machine_->on_jtag_read(0xB1, [](unsigned) { return 0xFFFFFFFF; });
  machine_->on_jtag_read(0x0F, [](unsigned) { return 0xFFFFFFFE; });
  check({"only the answer's bit", {"cp_9A11_0101", 1}, {"write B0 6C000000", "read B1", "read F"}, {0x80000000}});
  machine_->on_jtag_read(0xB1, [](unsigned) { return 0xFFFF7FFF; });
  machine_->on_jtag_read(0x0F, [](unsigned) { return 0x00000001; });
  check({"only the status bit", {"cp_9A11_0101", 1}, {"write B0 6C000000", "read B1", "read F"}, {0x40000000}});
}

TEST_F(CpuRegisters, OneRegister) {
  const auto read = [](macro_word para, macro_word field, macro_word word) {
    return Row{
        "read", {"cp_9A12_0101", 1, {para}}, {fmt::format("write B0 {:X}", 0x68000000 | field), "read B1"}, {word}};
  };
  const auto write_byte = [](macro_word para, macro_word field, const char *code, macro_word merged) {
    return Row{
        "byte write",
        {"cp_9A12_0101", 2, {para}, {0xFFFFFF13}},
        {fmt::format("write B0 {:X}", 0x68000000 | field), "read B1", fmt::format("write {} {:X}", code, merged)}};
  };
  const auto refused = [](macro_word rw, macro_word para) {
    return Row{"group 24", {"cp_9A12_0101", rw, {para}}, {}, {}, true, support::refusal(SUB_FIELD, para)};
  };
  for (const Row &row : {
           // Byte registers: byte (index AND 3) of the answer.
           read(0x00, 0x00000000, 0x89),
           read(0x03, 0x00300000, 0xEF),
           read(0x06, 0x00600000, 0xCD),
           // The other groups: the whole answer; only the low byte of the parameter counts.
           read(0x0F, 0x01700000, PORT_ANSWER),
           read(0x10, 0x02000000, PORT_ANSWER),
           read(0xFFFFFFF7, 0x02700000, PORT_ANSWER),
           // A byte write keeps the other three bytes.
           write_byte(0x00, 0x00000000, "B2", 0x13ABCDEF),
           write_byte(0x02, 0x00200000, "B2", 0x89AB13EF),
           write_byte(0x03, 0x00300000, "B2", 0x89ABCD13),
           write_byte(0x04, 0x00400000, "B3", 0x13ABCDEF),
           write_byte(0x05, 0x00500000, "B3", 0x8913CDEF),
           Row{"byte of zeros",
               {"cp_9A12_0101", 2, {0x01}, {0x12345600}},
               {"write B0 68100000", "read B1", "write B2 8900CDEF"}},
           // A register write sends the low 20 bits.
           Row{"write 16", {"cp_9A12_0101", 2, {0x08}, {0xFFF12345}}, {"write B0 41012345"}},
           Row{"write 39", {"cp_9A12_0101", 2, {0x17}, {0xFFFFFFFF}}, {"write B0 427FFFFF"}},
           Row{"no direction", {"cp_9A12_0101", 0, {0x05}}, {}},
           refused(1, 0x18),
           refused(2, 0x1B),
           refused(9, 0xABCDEFFF),
       })
    check(row);
}

/// The opening accesses of the classes; the machine answers all ones.
const Lines OPEN_1{"write B8 0", "read 61", "write 41 FFFF8FFF"};
const Lines OPEN_4{"read 7E", "write 5E 3FF"};

TEST_F(CpuRegisters, ControlSequences) {
  static constexpr macro_word VALUE = 0xABCDEFA5;  // low 12 bits FA5, low 4 bits 5
  const auto row = [](macro_word selection, Lines calls) {
    return Row{"sequence", {"cp_9A20_0101", 1, {selection, VALUE}}, std::move(calls)};
  };
  const auto refused = [](macro_word selection, Lines calls) {
    return Row{"refused",
               {"cp_9A20_0101", 1, {selection, VALUE}},
               std::move(calls),
               {},
               true,
               support::refusal(SUB_SELECTOR, selection, {{ERR_CONTEXT, VALUE}})};
  };
  // A setting's two writes; without the flag the register is then released.
  const auto setting = [&row](macro_word selection, macro_word first, macro_word second) {
    Lines calls = OPEN_4 + Lines{"read 7E", fmt::format("write 5E {:X}", first), fmt::format("write 5E {:X}", second)};
    if ((selection & 0xF000) == 0)
      calls = calls + Lines{"read 7E", "write 5E 7FFFFFF"};
    return row(selection, calls);
  };
  std::vector<Row> rows{
      row(0x00000000, OPEN_1 + Lines{"write B8 0", "write B9 0"} + OPEN_4),
      row(0x0FFFFFFF, OPEN_1 + Lines{"write B8 0", "write B9 0"} + OPEN_4),
      row(0x11000001, OPEN_1 + Lines{"read 61", "write 41 FFFFFFFF", "write B8 8400"}),
      row(0x11008001, OPEN_1 + Lines{"read 61", "write 41 FFFFFFFF", "write B8 8408"}),
      refused(0x11000002, OPEN_1),
      refused(0x19000001, OPEN_1),
      refused(0x10000019, OPEN_1),
      refused(0x10000000, OPEN_1),
      row(0x20000001, {"write B8 0", "write B8 6000"}),
      row(0x2000F002, {"write B8 0", "write B8 5000"}),
      refused(0x20000003, {"write B8 0"}),
      refused(0x20000801, {"write B8 0"}),
      refused(0x21000001, {"write B8 0"}),
      row(0x30000000, {"write B9 0", "write B9 80000000"}),
      row(0x30001FD5, {"write B9 0", "write B9 95000000"}),
      refused(0x31000001, {"write B9 0"}),
      refused(0x32000011, {"write B9 0"}),
      refused(0x40000001, OPEN_4),
      refused(0x41000003, OPEN_4),
      refused(0x42000002, OPEN_4),
      refused(0x43000001, OPEN_4),
      // Kept bits of all ones, the flag bit, the value's field, then the bit that starts it.
      setting(0x41000001, 0xDF3FFFFF, 0xFF3FFFFF),
      setting(0x41001001, 0xDFBFFFFF, 0xFFBFFFFF),
      setting(0x41000002, 0xDF3FFFFF, 0xFF3FFFFF),
      setting(0x41001002, 0xDF3FFFFF, 0xFF3FFFFF),
      setting(0x41000011, 0x7F3FFFFF, 0xFF3FFFFF),
      setting(0x41002011, 0x7FBFFFFF, 0xFFBFFFFF),
      setting(0x41000012, 0x7F3FFFFF, 0xFF3FFFFF),
      setting(0x41008012, 0x7F3FFFFF, 0xFF3FFFFF),
      setting(0x41FF0021, 0xBF3FFFFF, 0xFF3FFFFF),  // bits 16-23 belong to no field
      setting(0x41004022, 0xBFBFFFFF, 0xFFBFFFFF),
      setting(0x42000001, 0xEF3FFFFF, 0xFF3FFFFF),
      setting(0x42001011, 0xEFBFFFFF, 0xFFBFFFFF),
      setting(0x42000012, 0xEF3FFFFF, 0xFF3FFFFF),
  };
  constexpr std::array<std::pair<macro_word, macro_word>, 9> ITEMS_1{{{1, 0xA000},
                                                                      {17, 0x4800},
                                                                      {18, 0x4400},
                                                                      {19, 0x4200},
                                                                      {20, 0x4100},
                                                                      {21, 0x4080},
                                                                      {22, 0x4040},
                                                                      {23, 0x4020},
                                                                      {24, 0x4010}}};
  for (const auto &[item, word] : ITEMS_1)
    rows.push_back(row(0x10000000 | item, OPEN_1 + Lines{fmt::format("write B8 {:X}", word)}));
  constexpr std::array<std::pair<macro_word, macro_word>, 9> ITEMS_3{{{17, 0x97000000},
                                                                      {18, 0x9F000000},
                                                                      {33, 0x87000000},
                                                                      {34, 0x86000000},
                                                                      {49, 0x82000000},
                                                                      {51, 0x80000000},
                                                                      {52, 0x81000000},
                                                                      {65, 0x84000000},
                                                                      {66, 0x89000000}}};
  for (const auto &[item, word] : ITEMS_3) {
    rows.push_back(row(0x31001000 | item, {"write B9 0", fmt::format("write B9 {:X}", word)}));
    rows.push_back(row(0x31000000 | item, {"write B9 0", fmt::format("write B9 {:X}", word | 0x40000000)}));
  }
  for (macro_word none = 5; none < 16; ++none)
    rows.push_back(row(none << 28 | 0x01000001, {}));
  for (const Row &each : rows)
    check(each);
}

/// Where what is kept of the registers are zeros, what is put into them stands alone.
TEST_F(CpuRegisters, ControlSequenceWordsOnClearRegisters) {
  machine_->on_jtag_read(0x61, [](unsigned) { return 0; });
  machine_->on_jtag_read(0x7E, [](unsigned) { return 0; });
  check({"armed",
         {"cp_9A20_0101", 2, {0x11000001}},
         {"write B8 0", "read 61", "write 41 0", "read 61", "write 41 4000", "write B8 8400"}});
  struct Words {
    macro_word selection, first, second;
  };
  constexpr macro_word LOW_12 = 0xFA5U << 10;
  constexpr macro_word LOW_4 = 0x5U << 10;
  for (const Words &words : {
           Words{0x41001001, 0x00800000 | LOW_12, 0x20800000 | LOW_12},
           Words{0x41001002, 0x02000000 | LOW_12, 0x22000000 | LOW_12},
           Words{0x41001011, 0x00800000 | LOW_12, 0x80800000 | LOW_12},
           Words{0x41001012, 0x05000000 | LOW_12, 0x85000000 | LOW_12},
           Words{0x41001021, 0x02833000, 0x42833000},
           Words{0x41001022, 0x0280CC00, 0x4280CC00},
           Words{0x42001001, 0x00800000 | LOW_4, 0x10800000 | LOW_4},
           Words{0x42001011, 0x06800000 | LOW_4, 0x16800000 | LOW_4},
           Words{0x42001012, 0x07800000 | LOW_4, 0x17800000 | LOW_4},
       })
    check({"words",
           {"cp_9A20_0101", 2, {words.selection, 0xABCDEFA5}},
           {"read 7E", "write 5E 0", "read 7E", fmt::format("write 5E {:X}", words.first),
            fmt::format("write 5E {:X}", words.second)}});
}

}  // namespace
