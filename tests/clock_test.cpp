#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>

#include "support/support.hpp"

using support::Lines;
using support::run_macro;
using support::RunInput;
using support::RunResult;
using support::Words;
using support::operator+;

namespace {

const support::UnitWords CPU = support::one_chip(scdb::ChipKind::cpu, 1, 1);

/// Areas of a nested macro as text: how many words it takes there, 0 standing for none, which must be a null pointer.
std::string area(const macro_word *words, std::size_t count) {
  if (words == nullptr)
    return "-";
  std::string text;
  for (std::size_t i = 0; i < count; ++i)
    text += fmt::format("{}{:X}", i == 0 ? "" : " ", words[i]);
  return count == 0 ? "unexpected area" : text;
}

/// A machine that offers the clock macros and writes down what each is told, as "PARAMETERS | DATA".
class ClockMacros : public testing::Test {
 protected:
  struct Areas {
    std::size_t para;
    std::size_t data;
  };

  ClockMacros() {
    static const std::map<macro_word, Areas> MACROS{
        {0x1A00, {0, 0}}, {0x1A01, {0, 0}}, {0x1A02, {0, 0}}, {0x1A06, {0, 0}}, {0x1A11, {0, 0}}, {0x1A12, {0, 0}},
        {0x1A13, {1, 0}}, {0x1A14, {0, 3}}, {0x1A15, {2, 3}}, {0x1A20, {1, 0}}, {0x1A21, {1, 0}}, {0x1A31, {1, 0}},
        {0x1A34, {1, 2}}, {0x1A35, {1, 1}}, {0x1A36, {1, 1}}, {0x1A37, {1, 1}}, {0x1A39, {1, 0}}, {0x1A3A, {1, 1}},
        {0x1A3C, {1, 1}}, {0x1A3E, {1, 0}}, {0x1A40, {3, 0}}, {0x1A50, {1, 0}}, {0x1A62, {1, 0}}, {0x1A73, {0, 0}},
    };
    for (const auto &[number, areas] : MACROS)
      machine_->offered.push_back(number);
    machine_->on_nested = [this](const scdb::NestedCall &call) {
      EXPECT_NE(call.exp, nullptr) << "it is not given the expected words";
      const Areas &areas = MACROS.at(call.number);
      told_.push_back(area(call.para, areas.para) + " | " + area(call.data, areas.data));
      return scdb::Outcome::success();
    };
  }

  struct Row {
    const char *what;
    RunInput input;
    Lines calls;  ///< those of nested macros with what they are told
    int result = 0;
    bool refused = false;
  };

  void check(const Row &row) {
    SCOPED_TRACE(fmt::format("{}: {}", row.input.macro, row.what));
    told_.clear();
    RunInput input = row.input;
    input.status = EARLIER_STATUS;
    const RunResult run = run_macro(input, CPU);
    Lines calls = run.calls;
    std::size_t nested = 0;
    for (std::string &line : calls)
      if (line.starts_with("call "))
        line += ": " + told_.at(nested++);
    EXPECT_EQ(calls, row.calls);
    EXPECT_EQ(run.result, row.result);
    EXPECT_TRUE(run.written.empty()) << "wrote to _DATA";
    std::array<macro_word, ERROR_RECORD_WORDS> record{};
    record.fill(support::ERR_BACKGROUND);
    EXPECT_EQ(run.err, row.refused ? support::refusal(SUB_SELECTOR, row.input.para.at(0)) : record);
    EXPECT_EQ(run.status, row.refused ? MACRO_FAILED : EARLIER_STATUS);
  }

  /// What the status cell holds before a run; the macros clear nothing.
  static constexpr macro_word EARLIER_STATUS = 7;
  support::Attached<support::ScriptedMachine> machine_;
  Lines told_;
};

TEST_F(ClockMacros, RatioThroughTheClockMacros) {
  const Lines power{"call 2 1A20: 80000000 | -"};
  const Lines soft{"call 2 1A62: 80000000 | -"};
  const Lines wait{"read E4", "wait 5A"};
  const auto begin = [](const char *domains) {
    return Lines{fmt::format("call FFFFFFFF 1A50: {} | -", domains), "call 2 1A3E: 0 | -", "call FFFFFFFF 1A00: - | -",
                 "call 2 1A15: E0000000 80000000 | D3 D1 D2"};
  };
  const Lines ratio{"call 2 1A14: - | 68298600 36A 22A"};
  machine_->on_jtag_read(0xE4, [](unsigned) { return 0x8000005A; });

  const Words para{0x7FF6FFFF, 0xD1, 0xD2, 0xD3};
  const Words no_ratio{0x800BFFFF, 0xD1, 0xD2, 0xD3};
  for (const Row &row : {
           Row{"plain", {"cp_9AE0_0101", 1, para}, power + begin("40000000") + ratio, -1},
           Row{"soft", {"cp_9AEA_0101", 1, para}, power + soft + begin("40000000") + ratio, -1},
           Row{"soft and wait", {"cp_9AED_0101", 1, para}, power + soft + wait + begin("40000000") + ratio, -1},
           Row{"no such ratio", {"cp_9AE0_0101", 1, no_ratio}, power + begin("80000000"), -1, true},
           Row{"no such ratio", {"cp_9AEA_0101", 1, no_ratio}, power + soft + begin("80000000"), -1, true},
           Row{"no such ratio", {"cp_9AED_0101", 1, no_ratio}, power + soft + wait + begin("80000000"), -1, true},
       })
    check(row);
}

TEST_F(ClockMacros, RatioDirectly) {
  const auto begin = [](const char *domains) {
    return Lines{"write D4 80", "write D4 90", fmt::format("write D4 {}", domains),
                 "store AA",    "write F0 0",  "write D1 30F000D3",
                 "write D2 D1", "write D3 D2"};
  };
  const auto input = [](macro_word selection) { return RunInput{"cp_9AF0_0101", 1, {selection, 0xD1, 0xD2, 0xD3}}; };
  for (const Row &row : {
           Row{"first domain", input(0xBFE7FFFF), begin("80000090") + Lines{"store 56"}},
           Row{"second domain", input(0x40070000), begin("8000090") + Lines{"store 56"}},
           Row{"both domains", input(0xC0070000), begin("89000090") + Lines{"store 56"}},
           Row{"no domain", input(0x00070000), {"write D4 80", "write D4 90"}, -1, true},
           Row{"no such ratio", input(0xC0050000), begin("89000090"), -1, true},
       })
    check(row);
  EXPECT_EQ(machine_->ring(0x56)[0], 0x7029A600U);
  EXPECT_EQ(machine_->ring(0x56)[1], 0x3AAU);
  EXPECT_EQ(machine_->ring(0x56)[2], 0x22AU);
}

/// What leads to the ring of the clock distribution is cleared, and nothing behind it.
TEST_F(ClockMacros, DirectRatioClears211WordsOfTheBuffer) {
  for (macro_word &word : _SCANBUFFER)
    word = 0x55555555;
  check({"no such ratio",
         {"cp_9AF0_0101", 0, {0xC0000000}},
         {"write D4 80", "write D4 90", "write D4 89000090", "store AA", "write F0 0", "write D1 30F00000",
          "write D2 0", "write D3 0"},
         -1,
         true});
  for (std::size_t i = 0; i < SCANBUFFER_WORDS; ++i)
    ASSERT_EQ(_SCANBUFFER[i], i < 211 ? 0U : 0x55555555U) << i;
}

TEST_F(ClockMacros, Reload) {
  const Words start{0xFFFFFFFF, 0x51, 0x52, 0x53};
  const Words operands{0xA0, 0xA1};
  const auto stop = [](const char *gates) {
    return Lines{"read E1",
                 fmt::format("call FFFFFFFF 1A21: {} | -", gates),
                 "call FFFFFFFF 1A01: - | -",
                 "call FFFFFFFF 1A11: - | -",
                 "call FFFFFFFF 1A02: - | -",
                 "call FFFFFFFF 1A12: - | -",
                 "call 2 1A34: 200000 | A0 A1"};
  };
  const Lines start_words{"call FFFFFFFF 1A40: 51 52 53 | -"};
  const Lines reset{"call FFFFFFFF 1A13: 80000000 | -"};
  const Lines restart{"call FFFFFFFF 1A13: 40000000 | -"};
  const Lines align{"call 2 1A37: 17 | 0", "call 2 1A37: 19 | 0", "call FFFFFFFF 1A06: - | -"};
  const Lines clear{"call FFFFFFFF 1A73: - | -", "call 2 1A35: 15 | 0", "call 2 1A35: 13 | FFFFFFFF"};
  const Lines clock_errors{"call 2 1A36: 1B | FFFFFFFF"};

  // Only the second domain runs, and two of the gates are open.
  machine_->on_jtag_read(0xE1, [](unsigned) { return 0xEF5FFFFF; });
  for (const Row &row : {
           Row{"whole",
               {"cp_9AE1_0101", 0, start, operands},
               stop("500000") + Lines{"write D5 BFFFFFFF"} + start_words + reset + align + restart},
           Row{"first half", {"cp_9AEB_0101", 0, start, operands}, stop("500000") + clock_errors + start_words + reset},
           Row{"second half", {"cp_9AEC_0101", 0, {0x7FFFFFFF}}, align + clear + Lines{"call FFFFFFFF 1A39: 0 | -"}},
           Row{"second half, core held",
               {"cp_9AEC_0101", 0, {0x80000000}},
               align + clear + Lines{"call FFFFFFFF 1A39: 80000000 | -"}},
           Row{"reset of the core",
               {"cp_9AE2_0101", 0, {0xFFFFFFFF}},
               reset + Lines{"call FFFFFFFF 1A73: - | -", "call 2 1A3C: 1 | C0000000"} + clock_errors
                   + Lines{"call 2 1A35: 15 | 0", "call 2 1A35: 13 | FFFFFFFF", "call 2 1A3A: 23 | FFFFFFFF",
                           "call FFFFFFFF 1A31: 80000000 | -"}},
       })
    check(row);
}

TEST_F(ClockMacros, DirectReload) {
  constexpr macro_word CONTROL[] = {0xFFFFFFFF, 0xFFFFFFFF, 0x80000001, 0xFFFFFFFF, 0xFFFFFFFF};
  machine_->on_jtag_read(0xE1, [&](unsigned count) { return CONTROL[count]; });
  Lines calls{"read E1",           "write D1 FF5FFFFF", "read E1",         "write D1 FF0FFFFF", "read E1",
              "write D1 800C0001", "write F1 0",        "read E1",         "write D1 EFFFFFFF", "write F2 0",
              "read E1",           "write D1 DFFFFFFF", "write 1 C0000000"};
  Words data;
  for (macro_word k = 0; k < 32; ++k) {
    data.push_back(0x100 + k);
    calls.push_back(fmt::format("write {:X} {:X}", 0x40 + k, 0x100 + k));
  }
  check({"all registers",
         {"cp_9AF1_0101", 0, {0xB0, 0xB1, 0xB2, 0xB3}, data},
         calls
             + Lines{"write D5 B0", "write 34 B1", "write 35 B2", "write 36 B3", "write D8 0", "wait A", "write 17 0",
                     "write 19 0", "write F6 0", "write D9 0", "wait A"}});
}

TEST_F(ClockMacros, DirectResetOfTheCore) {
  const Lines reset{"write D8 0",        "wait A",     "write 2F 0",        "write 1 C0000000",
                    "write 1B FFFFFFFF", "write 15 0", "write 13 FFFFFFFF", "write 23 FFFFFFFF",
                    "write B 0"};
  check({"core held", {"cp_9AF2_0101", 0, {0x80000000}}, reset, -1});
  check({"core goes", {"cp_9AF2_0101", 0, {0x7FFFFFFF}}, reset + Lines{"write 8 0"}, -1});
}

// On the simulated server.

const support::UnitWords CHIP = support::one_chip(scdb::ChipKind::cpu);
constexpr unsigned PLL_STATUS = 0xE4;
constexpr macro_word A_LOCKED = 0x80000000;
constexpr macro_word B_LOCKED = 0x40000000;
constexpr macro_word B_STOPPED = 0x20000000;
constexpr macro_word A_STOPPED = 0x10000000;
constexpr macro_word CORE_HELD = 0x08000000;

macro_word jtag(scdb::JtagAccess access, unsigned code, macro_word word = 0) {
  constexpr scdb::Chip FIRST{scdb::ChipKind::cpu, 0, 0};
  EXPECT_TRUE(scdb::machine().jtag({&FIRST, 1}, access, code, word).ok());
  return word;
}

macro_word pll_status() {
  return jtag(scdb::JtagAccess::read, PLL_STATUS);
}

/// The machine's whole state without its times: a macro that the machine offers does not wait by the machine's clock.
std::string state_without_times() {
  std::string text = scdb::machine().save_state().value();
  const auto drop = [&text](std::string_view start, unsigned lines) {
    const std::size_t first = text.find(start);
    if (first == std::string::npos)
      return;
    std::size_t end = first;
    for (; lines > 0; --lines)
      end = text.find('\n', end) + 1;
    text.erase(first, end - first);
  };
  drop("clock ", 1);
  drop("cells register link time", 2);
  return text;
}

TEST(ClockGenerator, EveryRatioLocks) {
  constexpr macro_word CODES[] = {0x06, 0x16, 0x07, 0x17, 0x08, 0x18, 0x09, 0x19, 0x0A, 0x1A};
  struct Domains {
    macro_word para;
    macro_word locked;
  };
  constexpr Domains DOMAINS[] = {{0x80000000, A_LOCKED}, {0x40000000, B_LOCKED}, {0xC0000000, A_LOCKED | B_LOCKED}};
  struct Macro {
    const char *name;
    macro_word settle_time;
  };
  for (const Macro &macro :
       {Macro{"cp_9AE0_0101", 10}, Macro{"cp_9AEA_0101", 100}, Macro{"cp_9AED_0101", 100}, Macro{"cp_9AF0_0101", 10}})
    for (const Domains &domains : DOMAINS)
      for (macro_word step = 0; step < std::size(CODES); ++step) {
        SCOPED_TRACE(fmt::format("{} domains {:X} code {:X}", macro.name, domains.para, CODES[step]));
        const support::Server server;
        EXPECT_EQ(run_macro({macro.name, 0, {domains.para | CODES[step] << 16}}, CHIP).status, 0U);
        const macro_word sixteenths = 96 + 8 * step;
        EXPECT_EQ(pll_status(), domains.locked | sixteenths << 16 | macro.settle_time);
      }
}

TEST(ClockGenerator, DoesNotLockWhereTheHardwareIsBroken) {
  struct Row {
    const char *place;
    const char *bits;
    bool locks = false;
  };
  for (const Row &row : {
           Row{"ring 86", "bit = 0"},
           Row{"ring 86", "bit = 4"},
           Row{"ring 86", "bit = 31"},
           Row{"ring 86", "bit = 63"},
           Row{"ring 86", "bit = 95"},
           Row{"ring 170", "bit = 6751"},
           Row{"register clock control 1", "bits = 0x00100000"},
           Row{"register pll control", "bits = 0x00000010"},
           Row{"register clock control 2", "bits = 0x00000010", true},
       }) {
    SCOPED_TRACE(fmt::format("{} {}", row.place, row.bits));
    const support::Server server(fmt::format(
        "base = 'default'\n[[fault]]\nchip = 'cpu:0.0'\nplace = '{}'\nkind = 'flip'\n{}\n", row.place, row.bits));
    EXPECT_EQ(run_macro({"cp_9AE0_0101", 0, {0xC0080000}}, CHIP).status, 0U);
    EXPECT_EQ((pll_status() & (A_LOCKED | B_LOCKED)) != 0, row.locks);
  }
}

/// A macro that goes the way of the clock macros leaves the chip as the one that goes directly.
TEST(ClockGenerator, BothWaysLeadToTheSameState) {
  struct Pair {
    const char *through_macros;
    const char *directly;
    Words para;
  };
  Words operands;
  for (macro_word i = 0; i < 32; ++i)
    operands.push_back(0xF0000000 | i * 0x01010101);
  for (const Pair &pair : {
           Pair{"cp_9AE0_0101", "cp_9AF0_0101", {0xC0180000, 0x11, 0x22, 0x00000033}},
           Pair{"cp_9AE0_0101", "cp_9AF0_0101", {0x40070000, 0x11, 0x22, 0xFFFFFFFF}},
           // All clocks run, so the words that restart them are the same.
           Pair{"cp_9AE1_0101", "cp_9AF1_0101", {0xC0000123, 0x11, 0x22, 0x33}},
           Pair{"cp_9AE2_0101", "cp_9AF2_0101", {0x00000000}},
           Pair{"cp_9AE2_0101", "cp_9AF2_0101", {0x80000000}},
       }) {
    SCOPED_TRACE(fmt::format("{} and {}", pair.through_macros, pair.directly));
    const auto state_after = [&](const char *macro) {
      const support::Server server;
      const std::string before = state_without_times();
      EXPECT_EQ(run_macro({macro, 0, pair.para, operands}, CHIP).status, 0U);
      EXPECT_NE(state_without_times(), before);
      return state_without_times();
    };
    EXPECT_EQ(state_after(pair.through_macros), state_after(pair.directly));
  }
}

TEST(ClockGenerator, ReloadRestartsWhatRan) {
  const Words operands(32, 0x87654321);
  {
    const support::Server server;
    jtag(scdb::JtagAccess::write, 0xD1, 0x18F00000);
    ASSERT_EQ(run_macro({"cp_9AE1_0101", 0, {0, 1, 2, 3}, operands}, CHIP).status, 0U);
    EXPECT_EQ(pll_status() & (A_STOPPED | B_STOPPED | CORE_HELD), B_STOPPED);
    EXPECT_EQ(jtag(scdb::JtagAccess::read, 0xE5), 0x40000000U) << "restart control";
    EXPECT_EQ(jtag(scdb::JtagAccess::read, 0x76), 0x87654321U);
  }
  const support::Server server;
  ASSERT_EQ(run_macro({"cp_9AEB_0101", 0, {0, 1, 2, 3}, operands}, CHIP).status, 0U);
  EXPECT_EQ(pll_status() & (A_STOPPED | B_STOPPED | CORE_HELD), A_STOPPED | B_STOPPED | CORE_HELD);
  ASSERT_EQ(run_macro({"cp_9AEC_0101", 0, {0x80000000}}, CHIP).status, 0U);
  EXPECT_EQ(pll_status() & CORE_HELD, CORE_HELD);
  ASSERT_EQ(run_macro({"cp_9AEC_0101", 0, {0}}, CHIP).status, 0U);
  EXPECT_EQ(pll_status() & CORE_HELD, 0U);
}

TEST(ClockGenerator, FailingClockMacroEndsTheRun) {
  const support::Server server(
      "base = 'default'\n[[fault]]\nchip = 'cpu:0.0'\nplace = 'nested 0x1A3E'\nkind = 'macro-failed'\n");
  const RunResult run = run_macro({"cp_9AE0_0101", 0, {0xC0080000}}, CHIP);
  EXPECT_EQ(run.status, MACRO_FAILED);
  EXPECT_EQ(run.calls, (Lines{"call 2 1A20", "call FFFFFFFF 1A50", "call 2 1A3E"}));
  EXPECT_EQ(run.err[ERR_CLASS], static_cast<macro_word>(scdb::FailureClass::nested));
  EXPECT_EQ(run.err[ERR_CODE], 0x1A3EU);
  EXPECT_EQ(run.err[ERR_REASON], static_cast<macro_word>(scdb::Reason::macro_failed));
}

/// What the operand macro takes and refuses.
TEST(ClockGenerator, OperandMacro) {
  const support::Server server;
  const auto call = [](macro_word rw, const Words &para, macro_word *data) {
    return scdb::machine()
        .nested({0x1A34,
                 rw,
                 {CHIP.type, CHIP.number, CHIP.mring.data()},
                 para.empty() ? nullptr : para.data(),
                 data,
                 nullptr,
                 nullptr})
        .reason;
  };
  Words data{0x11111111, 0x22222222, 0x33333333};
  EXPECT_EQ(call(2, {0x0003001D}, data.data()), scdb::Reason::none);  // registers 29, 30 and 31
  Words back(3);
  EXPECT_EQ(call(1, {0x0003001D}, back.data()), scdb::Reason::none);
  EXPECT_EQ(back, data);
  EXPECT_EQ(call(1, {30}, back.data()), scdb::Reason::none);
  EXPECT_EQ(back[0], 0x22222222U);
  EXPECT_EQ(jtag(scdb::JtagAccess::read, 0x7E), 0x22222222U);
  EXPECT_EQ(call(2, {0x0003001E}, data.data()), scdb::Reason::no_register);
  EXPECT_EQ(call(1, {32}, data.data()), scdb::Reason::no_register);
  EXPECT_EQ(call(MACRO_ALL, {30}, data.data()), scdb::Reason::bad_kind);
  EXPECT_EQ(call(2, {}, nullptr), scdb::Reason::none);
  EXPECT_EQ(call(1, {30}, back.data()), scdb::Reason::none);
  EXPECT_EQ(back[0], 0U);
}

}  // namespace
