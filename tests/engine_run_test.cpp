// Runs: what they are asked for with, how they end, what becomes of rings and machine, and how they are judged.
#include "engine/run/bench.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/run/explain.hpp"
#include "engine/run/judgement.hpp"
#include "engine/run/request.hpp"
#include "engine/run/series.hpp"
#include "engine/text/error.hpp"
#include "engine/text/words.hpp"
#include "scdb/record.hpp"
#include "support/folder.hpp"
#include "support/support.hpp"

namespace engine {
namespace {

constexpr scdb::Chip CPU{scdb::ChipKind::cpu, 0, 0};
constexpr unsigned RING = 0x3C;

/// A machine that is not simulated, or says so, and cannot be copied.
class Hardware : public support::ScriptedMachine {
 public:
  explicit Hardware(bool as_simulated = false) : as_simulated_{as_simulated} {}

  bool takes_rings = true;

  [[nodiscard]] bool simulated() const override { return as_simulated_; }
  scdb::Outcome write_ring(std::span<const scdb::Chip> chips, unsigned code,
                           std::span<const macro_word> words) override {
    return takes_rings ? ScriptedMachine::write_ring(chips, code, words)
                       : scdb::Outcome::failure(scdb::Reason::dead_chip, chips.front());
  }
  [[nodiscard]] std::optional<std::string> save_state() const override { return "all is well"; }
  void load_state(std::string_view text) override {
    if (text != "all is well")
      throw scdb::MachineError("it is not well");
  }

 private:
  bool as_simulated_;
};

/// The macros of the library and those that misbehave, as the built-in catalogue knows them.
BenchSource source(std::string state = {}, std::string catalogue = {}) {
  return {{}, std::move(state), {MACRO_LIBRARY, BAD_MACROS}, std::move(catalogue)};
}

RunRequest request_of(Bench &bench, const RunOrder &order, const std::string &unit = "cpu:0.0") {
  bench.macros();
  RunRequest request = make_request(order, bench.catalogue());
  request.unit = parse_selection(unit, bench.chips());
  return request;
}

RunOrder order_of(std::string macro, std::vector<macro_word> para, OpenRings rings = OpenRings::usual) {
  RunOrder order;
  order.macro = std::move(macro);
  order.para = std::move(para);
  order.rings = rings;
  return order;
}

/// Accesses a word of an area: 0 _PARA, 1 _DATA, 2 _ERR, 3 _EXP, 4 _MRING.
RunOrder poke(macro_word area, int index, std::optional<macro_word> data_words, macro_word rw = RW_WRITE) {
  RunOrder order = order_of("sp_0001_0101", {area, static_cast<macro_word>(index)});
  order.direction = rw;
  order.data_words = data_words;
  return order;
}

/// Crashes inside a primitive.
RunOrder crash() {
  RunOrder order = order_of("sp_0002_0101", {8});
  order.data_words = 8;
  return order;
}

std::vector<macro_word> ring_of(scdb::Machine &machine) {
  std::vector<macro_word> words((machine.ring_bits(CPU, RING) + 31) / 32);
  EXPECT_TRUE(machine.read_ring({&CPU, 1}, RING, words).ok());
  return words;
}
void clear_ring(Bench &bench) {
  const std::vector<macro_word> zeros(ring_of(bench.machine()).size());
  EXPECT_TRUE(bench.machine().write_ring({&CPU, 1}, RING, zeros).ok());
}

std::string sentences(const Judgement &judgement) {
  std::string text;
  for (const auto &[what, all] : {std::pair{"failure", &judgement.failures}, std::pair{"finding", &judgement.findings},
                                  std::pair{"mismatch", &judgement.mismatches}, std::pair{"note", &judgement.notes}})
    for (const std::string &sentence : *all)
      text += fmt::format("{}: {}\n", what, sentence);
  return text;
}

// Areas.

TEST(Areas, AreLeftAndSaid) {
  constexpr const char *AFTER = ", after primitive call 1, lmcr_wait";
  struct Row {
    RunOrder order;
    std::string said;  ///< after "read of" and the like
  };
  const std::vector<Row> rows{
      {poke(1, 8, 8, RW_READ), "_DATA[8], 1 word past its end (it has 8 words)"},
      {poke(1, 7, 8, RW_READ), ""},
      {poke(1, 2000, 1000), "_DATA[2000], 1001 words past its end (it has 1000 words)"},
      {poke(1, 999, 1000), ""},
      {poke(1, -1, 1024), "_DATA[-1], 1 word before its beginning (it has 1024 words)"},
      {poke(1, -3, 8), "_DATA[-3], 3 words before its beginning (it has 8 words)"},
      {poke(1, 0, 8), ""},
      {poke(0, 16, {}, RW_READ), "_PARA[16], 1 word past its end (it has 16 words)"},
      {poke(0, 0, {}), "_PARA[0], which is read-only"},
      {poke(4, 15, {}), "_MRING[15], which is read-only"},
      {poke(2, 24, {}), "_ERR[24], 1 word past its end (it has 24 words)"},
      {poke(2, -1, {}), "_ERR[-1], 1 word before its beginning (it has 24 words)"},
      {poke(2, 23, {}), ""},
      {poke(3, 256, {}), "_EXP[256], 1 word past its end (it has 256 words)"},
      {poke(3, 255, {}), ""},
      // The default size, where the catalogue tells none.
      {poke(1, 131071, {}), ""},
      {poke(1, 131072, {}), "_DATA[131072], 1 word past its end (it has 131072 words)"},
  };
  Bench bench{source()};
  for (const Row &row : rows) {
    const RunRequest request = request_of(bench, row.order, "sp:0.0");
    const RunResult run = bench.run(request, nullptr);
    const Judgement judgement = judge(request, run, {});
    EXPECT_EQ(judgement.conclusion, row.said.empty() ? Conclusion::passed : Conclusion::error) << row.said;
    std::string text = judgement.failures.empty() ? "" : judgement.failures.front();
    const std::string verb = text.substr(0, text.find('_'));
    EXPECT_TRUE(verb.empty() || verb == "access to " || verb == (request.rw == RW_READ ? "read of " : "write to "))
        << text;
    text.erase(0, verb.size());
    // Between a guard page and the area a write shows only afterwards.
    EXPECT_TRUE(text == row.said || text == row.said + AFTER) << text << "\n" << row.said;
  }
}

TEST(Areas, HaveTheSizeThatTheCatalogueTells) {
  const support::Folder folder;
  const std::string head = "title = \"T\"\n";
  const auto entry = [](const std::string &name, int words) {
    return fmt::format(
        "[[macro]]\nname = \"{}\"\nunit = \"sp\"\ntitle = \"T\"\nchanges = \"never\"\n"
        "data = [{{name = \"it\", size = {}}}]\n",
        name, words);
  };
  folder.write("test.toml", head + entry("sp_0001_0101", 8) + entry("sp_0006_0101", 9));
  Bench bench{source({}, folder.path(""))};
  // What another run in the same pages had before makes no difference.
  for (int i = 0; i < 2; ++i) {
    const RunResult last = bench.run(request_of(bench, poke(1, 7, {}), "sp:0.0"), nullptr);
    EXPECT_TRUE(last.ok());
    EXPECT_EQ(last.data.size(), 8);
    EXPECT_TRUE(bench.run(request_of(bench, order_of("sp_0006_0101", {8}), "sp:0.0"), nullptr).ok());
    const RunResult run = bench.run(request_of(bench, poke(1, 8, {}), "sp:0.0"), nullptr);
    ASSERT_TRUE(run.crash && run.crash->breach);
    EXPECT_EQ(describe(*run.crash->breach), "_DATA[8], 1 word past its end (it has 8 words)");
  }
  EXPECT_EQ(bench.run(request_of(bench, poke(1, -1, {}), "sp:0.0"), nullptr).underruns.size(), 1);
  EXPECT_EQ(bench.run(request_of(bench, poke(1, 0, {}), "sp:0.0"), nullptr).underruns.size(), 0);
}

TEST(Areas, WordsThatWereWritten) {
  struct Row {
    macro_word rw;
    std::vector<macro_word> data;
    DataWords written;
  };
  Bench bench{source()};
  for (const Row &row : std::vector<Row>{
           {RW_READ, {}, {std::nullopt, std::nullopt, 0x12345678}},
           {RW_WRITE, {5, 6}, {std::nullopt, std::nullopt, 0x12345678}},
           {RW_READ, {5, 6, 7, 8}, {std::nullopt, std::nullopt, 0x12345678}},
           // A word that the caller gave counts as written only when it changes.
           {RW_READ, {5, 6, 0x12345678}, {}},
       }) {
    RunOrder order = order_of("sp_0006_0101", {2});
    order.direction = row.rw;
    order.data = row.data;
    EXPECT_EQ(bench.run(request_of(bench, order, "sp:0.0"), nullptr).data, row.written);
  }
}

// Rings.

TEST(OpenRings, AfterARun) {
  struct Row {
    bool simulated;
    OpenRings rings;
    bool takes_rings;
    std::string said;
    Conclusion conclusion;
    std::size_t open;
  };
  const std::string ring = "cpu:0.0 ring 0x3C";
  const std::string failed =
      fmt::format("failure: rings left open, not restored: {} (the chip does not answer)\n", ring);
  const std::vector<Row> rows{
      {true, OpenRings::usual, true, "note: rings left open, restored: " + ring + "\n", Conclusion::passed, 0},
      {true, OpenRings::keep, true, "note: rings kept open: " + ring + "\n", Conclusion::passed, 1},
      {true, OpenRings::usual, false, failed, Conclusion::failed, 1},
      {false, OpenRings::usual, true, "failure: rings left open: " + ring + "\n", Conclusion::failed, 1},
      {false, OpenRings::restore, true, "note: rings left open, restored: " + ring + "\n", Conclusion::passed, 0},
      {false, OpenRings::keep, true, "note: rings kept open: " + ring + "\n", Conclusion::passed, 1},
      {false, OpenRings::restore, false, failed, Conclusion::failed, 1},
  };
  for (const Row &row : rows) {
    auto machine = std::make_unique<Hardware>(row.simulated);
    machine->takes_rings = row.takes_rings;
    const std::vector<macro_word> before = ring_of(*machine);
    Bench bench{source(), std::move(machine)};
    const RunRequest request = request_of(bench, order_of("sp_0007_0101", {RING}, row.rings));
    const RunResult run = bench.run(request, nullptr);
    const Judgement judgement = judge(request, run, {});
    EXPECT_EQ(sentences(judgement), row.said);
    EXPECT_EQ(judgement.conclusion, row.conclusion) << row.said;
    EXPECT_EQ(scdb::open_rings().size(), row.open) << row.said;
    if (row.open == 1 && row.takes_rings) {
      // The run that follows is not to blame, whether they are put back after it or not.
      clear_ring(bench);
      const RunRequest innocent = request_of(bench, order_of("sp_0005_0101", {1, 2}), "sp:0.0");
      const RunResult after = bench.run(innocent, nullptr);
      EXPECT_EQ(judge(innocent, after, {}).conclusion, Conclusion::passed) << row.said;
      EXPECT_EQ(after.rings.at(0).fate, row.simulated ? RingLeft::Fate::restored : RingLeft::Fate::still_open);
      if (row.simulated)
        continue;
      const RunRequest next = request_of(bench, order_of("sp_0005_0101", {1, 2}, OpenRings::restore), "sp:0.0");
      EXPECT_EQ(bench.run(next, nullptr).rings.size(), 1);
      EXPECT_EQ(ring_of(bench.machine()), before);
    }
  }
}

// Crashes.

TEST(Crashes, InsideAPrimitiveLeaveTheMachineBetweenTwoAccesses) {
  RunOrder order = order_of("sp_000C_0101", {0x12345678});
  order.data_words = 8;
  for (const bool real : {false, true}) {
    const support::Folder folder;
    Bench bench{source(folder.path("state")), real ? std::make_unique<Hardware>() : nullptr};
    const std::vector<macro_word> before = ring_of(bench.machine());
    const RunRequest request = request_of(bench, order);
    const RunResult run = bench.run(request, nullptr);
    const Judgement judgement = judge(request, run, {});
    EXPECT_EQ(judgement.verdict, Verdict::error);
    ASSERT_TRUE(run.crash && run.crash->breach);
    EXPECT_EQ(describe(*run.crash->breach), "_DATA[8], 1 word past its end (it has 8 words)");
    EXPECT_EQ(run.crash->position.number, 3);
    EXPECT_FALSE(run.crash->position.finished);
    EXPECT_EQ(judgement.failures.size(), real ? 2 : 1);
    EXPECT_EQ(run.rings.at(0).fate, real ? RingLeft::Fate::left_open : RingLeft::Fate::restored);
    EXPECT_EQ(ring_of(bench.machine()), before);
    // What was written stays written.
    bench.keep_state();
    EXPECT_NE(folder.read("state").find(real ? "all is well" : "12345678"), std::string::npos);
  }
}

TEST(Crashes, OutsideOfPrimitivesLeaveTheMachineAlone) {
  struct Row {
    RunOrder order;
    std::string place;
    std::string end;
  };
  RunOrder nested = order_of("sp_0005_0101", {1, 131072});
  nested.direction = RW_WRITE;
  const std::string nowhere = "invalid memory access at address 0x";
  Bench bench{source(), std::make_unique<Hardware>()};
  for (const Row &row : std::vector<Row>{
           {order_of("sp_0003_0101", {}), nowhere + "40 outside every area of the macro", "before any primitive call"},
           {order_of("sp_000B_0101", {}), nowhere, " outside every area of the macro, before any primitive call"},
           {order_of("sp_0004_0101", {}), nowhere, " outside every area of the macro, before any primitive call"},
           {nested, "_DATA[131072]", "after primitive call 2, lmcr_wait"},
       }) {
    const RunRequest request = request_of(bench, row.order, "sp:0.0");
    const RunResult run = bench.run(request, nullptr);
    const Judgement judgement = judge(request, run, {});
    ASSERT_EQ(judgement.failures.size(), 1);
    EXPECT_TRUE(judgement.failures[0].find(row.place) != std::string::npos && judgement.failures[0].ends_with(row.end))
        << judgement.failures[0];
    EXPECT_EQ(judgement.verdict, Verdict::error);
  }
}

TEST(Crashes, LeaveADryRunDry) {
  Bench bench{source()};
  RunOrder order;
  order.macro = "9A12";
  order.direction = "write";
  order.fields = {{"group", macro_word{1}}, {"index", macro_word{5}}, {"value", macro_word{0x12345}}};
  RunOrder read = order;
  read.direction = "read";
  read.fields.pop_back();
  const DataWords before = bench.run(request_of(bench, read), nullptr).data;
  DryRun &dry = bench.begin_dry_run();
  static_cast<void>(bench.run(request_of(bench, crash(), "sp:0.0"), nullptr));
  EXPECT_TRUE(bench.run(request_of(bench, order), nullptr).ok());
  EXPECT_EQ(dry.writes().size(), 1);
  bench.end_dry_run();
  EXPECT_EQ(bench.run(request_of(bench, read), nullptr).data, before);
}

TEST(Benches, AreOneAtATimeAndKeepNoOtherState) {
  const support::Folder folder;
  folder.write("state", "it is broken");
  {
    Bench bench{source(folder.path("state")), std::make_unique<Hardware>()};
    EXPECT_THROW(Bench{source()}, std::logic_error);
    for (int i = 0; i < 2; ++i)
      try {
        static_cast<void>(bench.machine_info());
        ADD_FAILURE() << "it is open";
      } catch (const InputError &error) {
        EXPECT_EQ(std::string{error.what()}, fmt::format("state: '{}': it is not well", folder.path("state")));
      }
    folder.write("state", "all is well");
    EXPECT_EQ(bench.machine_info().name, "scripted machine");
  }
  EXPECT_EQ(Bench{source()}.machine_info().name, "two-board server");
}

// Stops.

/// Asks for a stop before the call of this number.
class Asking : public scdb::Observer {
 public:
  Asking(StopSource &source, unsigned number) : source_{source}, number_{number} {}
  [[nodiscard]] scdb::Reason before(const scdb::Call & /*call*/) override {
    if (++count_ == number_)
      source_.ask("the test");
    return scdb::Reason::none;
  }

 private:
  StopSource &source_;
  unsigned number_;
  unsigned count_ = 0;
};

TEST(Stops, CausesAndWho) {
  using Duration = StopToken::Duration;
  constexpr Duration NONE{0};
  struct Row {
    bool asked;
    std::optional<Duration> whole;
    std::optional<Duration> own;
    StopCause cause;        ///< of the part
    StopCause whole_cause;  ///< afterwards
    std::string by;
  };
  constexpr std::chrono::hours LONG{1};
  for (const Row &row : std::vector<Row>{
           {false, {}, {}, StopCause::none, StopCause::none, ""},
           {false, LONG, LONG, StopCause::none, StopCause::none, ""},
           {true, LONG, {}, StopCause::asked, StopCause::asked, "the test"},
           {false, NONE, {}, StopCause::time_limit, StopCause::time_limit, "the time limit of 0 s"},
           {false, LONG, NONE, StopCause::own_limit, StopCause::none, "the time limit of 0 s"},
           {false, {}, Duration{-1}, StopCause::own_limit, StopCause::none, "the time limit of -0.000000001 s"},
           // The whole goes before the part.
           {true, NONE, NONE, StopCause::asked, StopCause::asked, "the test"},
           {false, NONE, NONE, StopCause::time_limit, StopCause::time_limit, "the time limit of 0 s"},
       }) {
    StopSource source;
    if (row.asked)
      source.ask("the test");
    StopToken whole{&source, row.whole};
    StopToken part{whole, row.own};
    EXPECT_EQ(part.stopped(), row.cause != StopCause::none);
    EXPECT_EQ(part.cause(), row.cause);
    EXPECT_EQ(part.by(), row.by);
    EXPECT_EQ(whole.stopped(), row.whole_cause != StopCause::none);
    EXPECT_EQ(whole.cause(), row.whole_cause);
    source.clear();
    EXPECT_EQ(part.stopped(), row.cause != StopCause::none) << "it does not stay so";
  }
  StopToken limited{nullptr, std::chrono::milliseconds{0}};
  StopToken part{limited, {}};
  EXPECT_TRUE(part.stopped());
  EXPECT_EQ(limited.by(), "the time limit of 0 s");
}

TEST(Stops, AtACallAndFromThenOn) {
  Bench bench{source()};
  StopSource source;
  StopToken token{&source};
  const RunRequest request = request_of(bench, order_of("cp_9A10_0101", {}));
  Asking asking{source, 5};
  const scdb::Observing observing{asking};
  const RunResult run = bench.run(request, &token);
  ASSERT_TRUE(run.stop);
  EXPECT_EQ(run.stop->call, 5);
  EXPECT_EQ(sentences(judge(request, run, {})), "failure: stopped by the test at primitive call 5\n");
  EXPECT_EQ(bench.run(request, &token).stop->call, 1);
  EXPECT_FALSE(bench.run(request, nullptr).stop);
}

TEST(Stops, SkipTheUnitsThatFollow) {
  Bench bench{source()};
  StopSource source;
  StopToken token{&source};
  const RunRequest request = request_of(bench, order_of("cp_9A12_0101", {0x0D}));
  const std::vector<Selection> units = single_chips(parse_selection("cpu", bench.chips()), bench.chips());
  std::string told;
  unsigned runs = 0;
  const Tally tally = run_series(
      bench, request, units, {.expectation = {}, .times = 3, .keep_going = true}, token,
      [&](const RunResult & /*run*/) {
        if (++runs == 5)
          source.ask("the test");
      },
      [&](const UnitOutcome &outcome) {
        told += fmt::format("{} {} {}; ", describe(outcome.request.unit.words()), outcome.made,
                            name_of(outcome.conclusion));
      });
  EXPECT_EQ(told, "cpu:0.0 3 passed; cpu:0.1 2 stopped; ");
  EXPECT_EQ(tally.units(Conclusion::skipped).size(), 2);
  EXPECT_FALSE(tally.all_passed());
}

// Judgement.

constexpr const char *ENTRY = R"(title = "T"
[[macro]]
name = "cp_0001_0101"
unit = "cpu"
title = "T"
changes = "never"
data = [{name = "it", field = [{name = "low", bits = "0-7"}, {name = "high", bits = "8-31"}]}]
finding = [{title = "odd", word = 0, mask = 1}]
error = [{subcode = -3, title = "it is too much"}]
)";

using Change = std::function<void(RunResult &)>;

Change failed_with(scdb::Reason reason) {
  return [reason](RunResult &run) {
    run.status = MACRO_FAILED;
    run.result = -1;
    scdb::write_failure(run.record.data(), {scdb::Primitive::jtag, 0xB1, scdb::Outcome::failure(reason, CPU)});
  };
}
Change stopped_by(StopCause cause) {
  return [cause](RunResult &run) {
    failed_with(scdb::Reason::interrupted)(run);
    run.stop = Stop{"the test", 3, cause};
  };
}
Change ring_is(RingLeft::Fate fate) {
  return [fate](RunResult &run) { run.rings.push_back({{CPU, RING}, fate, scdb::Reason::none}); };
}

TEST(Judgements, OfRunsInTheLightOfExpectations) {
  const auto family = std::make_shared<const Family>(read_family(ENTRY, "test.toml", "test"));
  RunRequest request;
  request.entry = {family, family->macros.data()};
  const Expectation nothing;
  const Expectation finding{.verdict = Verdict::finding, .words = {}, .masks = {}, .named = {}};
  const Expectation failure{.verdict = Verdict::failure, .words = {}, .masks = {}, .named = {}};
  const auto words = [](std::vector<macro_word> wanted, std::vector<macro_word> masks) {
    return Expectation{.verdict = Verdict::pass, .words = std::move(wanted), .masks = std::move(masks), .named = {}};
  };
  const auto named = [](std::string name, std::uint64_t number, std::string text) {
    return Expectation{
        .verdict = Verdict::pass, .words = {}, .masks = {}, .named = {{std::move(name), number, std::move(text)}}};
  };
  const Change well = [](RunResult &) {};
  const Change odd = [](RunResult &run) { run.data = {0x12345}; };
  const Change crashed = [](RunResult &run) {
    run.result.reset();
    run.crash = Crash{.fault = {11, Access::write, 0x40}, .breach = {}, .position = {2, scdb::Primitive::jtag, false}};
  };
  const Change underrun = [](RunResult &run) { run.underruns.push_back({"_ERR", -2, 24, Access::write}); };
  const Change refused = [](RunResult &run) {
    run.status = MACRO_FAILED;
    run.record[ERR_CLASS] = ERR_PARAMETER;
    run.record[ERR_SUBCODE] = static_cast<macro_word>(-3);
    run.record[ERR_VALUE] = 9;
  };
  const auto both = [](const Change &first, const Change &second) {
    return [first, second](RunResult &run) {
      first(run);
      second(run);
    };
  };
  struct Row {
    Change run;
    Expectation expectation;
    Verdict verdict;
    Conclusion conclusion;
    std::string said;
  };
  using enum Conclusion;
  const std::string dead = "failure: lmcr_jtag, code 0xB1, cpu:0.0: the chip does not answer (hardware error)\n";
  const std::string no_ring = "failure: lmcr_jtag, code 0xB1, cpu:0.0: the chip has no such ring (refused)\n";
  const std::string is_odd = "finding: odd: _DATA[0] is 0x00012345\n";
  const std::string too_much = "failure: parameter refused: it is too much (sub-code -3), value 0x00000009\n";
  const std::string fell =
      "failure: invalid memory access at address 0x40 outside every area of the macro, during "
      "primitive call 2, lmcr_jtag\n";
  const std::string under = "failure: write to _ERR[-2], 2 words before its beginning (it has 24 words)\n";
  const std::string stop = "failure: stopped by the test at primitive call 3\n";
  const std::vector<Row> rows{
      {well, nothing, Verdict::pass, passed, ""},
      {well, finding, Verdict::pass, failed, ""},
      {well, failure, Verdict::pass, failed, ""},
      {odd, nothing, Verdict::finding, failed, is_odd},
      {odd, finding, Verdict::finding, passed, is_odd},
      {odd, failure, Verdict::finding, failed, is_odd},
      {failed_with(scdb::Reason::dead_chip), nothing, Verdict::failure, failed, dead},
      {failed_with(scdb::Reason::dead_chip), failure, Verdict::failure, passed, dead},
      // A run that failed finds nothing.
      {both(odd, failed_with(scdb::Reason::dead_chip)), finding, Verdict::failure, failed, dead},
      // That the machine lacks something says nothing of it, but may be what is expected.
      {failed_with(scdb::Reason::no_ring), nothing, Verdict::error, error, no_ring},
      {failed_with(scdb::Reason::no_ring), failure, Verdict::error, passed, no_ring},
      {failed_with(scdb::Reason::macro_failed), nothing, Verdict::failure, failed,
       "failure: lmcr_jtag, code 0xB1, cpu:0.0: the macro that was called failed (nested macro)\n"},
      {refused, nothing, Verdict::failure, failed, too_much},
      {refused, failure, Verdict::failure, passed, too_much},
      {[](RunResult &run) { run.status = MACRO_FAILED; }, nothing, Verdict::failure, failed,
       "failure: _RETURN is -1, and the error record is empty\n"},
      {crashed, nothing, Verdict::error, error, fell},
      {crashed, failure, Verdict::error, error, fell},
      {underrun, nothing, Verdict::error, error, under},
      {both(underrun, refused), failure, Verdict::error, error, under + too_much},
      {stopped_by(StopCause::asked), nothing, Verdict::stopped, stopped, stop},
      {stopped_by(StopCause::time_limit), failure, Verdict::stopped, stopped, stop},
      {stopped_by(StopCause::own_limit), nothing, Verdict::stopped, error, stop},
      {both(refused,
            [](RunResult &run) {
              run.stop = Stop{"the test", 3, StopCause::asked};
            }),
       nothing, Verdict::stopped, stopped, stop + too_much},
      {ring_is(RingLeft::Fate::restored), nothing, Verdict::pass, passed,
       "note: rings left open, restored: cpu:0.0 ring 0x3C\n"},
      {ring_is(RingLeft::Fate::kept_open), nothing, Verdict::pass, passed,
       "note: rings kept open: cpu:0.0 ring 0x3C\n"},
      {ring_is(RingLeft::Fate::left_open), nothing, Verdict::failure, failed,
       "failure: rings left open: cpu:0.0 ring 0x3C\n"},
      {ring_is(RingLeft::Fate::left_open), failure, Verdict::failure, passed,
       "failure: rings left open: cpu:0.0 ring 0x3C\n"},
      {both(odd, ring_is(RingLeft::Fate::not_restored)), nothing, Verdict::failure, failed,
       "failure: rings left open, not restored: cpu:0.0 ring 0x3C\n" + is_odd},
      // Words and names.
      {well, words({0x1234}, {MACRO_ALL}), Verdict::pass, failed,
       "mismatch: 1 of 1 word differs, first _DATA[0]: not written instead of 0x00001234\n"},
      {[](RunResult &run) {
         run.data = {0x10, 0x20};
       },
       words({0x10, 0x20}, {MACRO_ALL, MACRO_ALL}), Verdict::pass, passed, ""},
      {[](RunResult &run) {
         run.data = {0x10, 0x20};
       },
       words({0x18, 0x21}, {0xF0, 0x0F}), Verdict::pass, failed,
       "mismatch: 1 of 2 words differ, first _DATA[1]: 0x00000020 instead of 0x00000021 (mask 0x0000000F)\n"},
      {[](RunResult &run) { run.data = {0x1234}; }, words({0x1234, 5}, {MACRO_ALL, 0}), Verdict::pass, passed, ""},
      {[](RunResult &run) { run.data = {0x1234}; }, named("low", 0x34, "0x34"), Verdict::pass, passed, ""},
      {[](RunResult &run) { run.data = {0x1234}; }, named("high", 0x34, "0x000034"), Verdict::pass, failed,
       "mismatch: high is 0x000012 instead of 0x000034\n"},
      {failed_with(scdb::Reason::dead_chip), named("low", 1, "0x01"), Verdict::failure, failed,
       dead + "mismatch: low is not written instead of 0x01\n"},
  };
  for (const Row &row : rows) {
    RunResult run;
    run.result = 0;
    row.run(run);
    const Judgement judgement = judge(request, run, row.expectation);
    EXPECT_EQ(sentences(judgement), row.said);
    EXPECT_EQ(name_of(judgement.verdict), name_of(row.verdict)) << row.said;
    EXPECT_EQ(name_of(judgement.conclusion), name_of(row.conclusion)) << row.said;
    // What is said value by value is what is said of all of them.
    EXPECT_EQ(std::ranges::all_of(judgement.checked, [](const MeasuredValue &value) { return value.expected->holds; }),
              judgement.mismatches.empty())
        << row.said;
  }
}

TEST(Judgements, OfWordsThatTheCallerGave) {
  RunRequest request;
  request.data = {7, 8};
  request.data_words = 3;
  RunResult run;
  run.data = {std::nullopt, 9};
  const auto differing = [&](macro_word rw, std::vector<macro_word> words) {
    request.rw = rw;
    std::vector<macro_word> masks = masks_for({}, words.size());
    return judge(request, run,
                 {.verdict = Verdict::pass, .words = std::move(words), .masks = std::move(masks), .named = {}})
        .comparison.differing;
  };
  EXPECT_EQ(differing(RW_READ, {7, 9}), 0);
  EXPECT_EQ(differing(RW_READ, {7, 8}), 1);
  EXPECT_EQ(differing(RW_READ, {7, 9, 0}), 1);
  EXPECT_EQ(differing(RW_WRITE, {7, 9, 0}), 0);
  EXPECT_EQ(differing(RW_WRITE, {7, 9, 0, 0}), 1);
  EXPECT_THROW(static_cast<void>(masks_for({1, 2}, 3)), InputError);
}

// Requests.

std::string_view own_name(Subject subject) {
  switch (subject) {
    case Subject::para:
      return "<words>";
    case Subject::data:
      return "<data>";
    case Subject::data_words:
      return "<size>";
    case Subject::direction:
      return "<direction>";
    case Subject::macro_list:
      return "<list>";
    default:
      return neutral_name(subject);
  }
}

TEST(Requests, AreRefusedInTheClientsWords) {
  struct Row {
    RunOrder order;
    std::string neutral;
    std::string own;
  };
  const auto with = [](RunOrder order, const std::function<void(RunOrder &)> &change) {
    change(order);
    return order;
  };
  const RunOrder read = order_of("9A12", {});
  const std::vector<Row> rows{
      {order_of("--para", {}), "there is no macro '--para'; the list of macros shows those there are",
       "there is no macro '--para'; <list> shows those there are"},
      {order_of("cp_9A1O", {}), "there is no macro 'cp_9A1O'; the nearest: cp_9A10_0101, cp_9A11_0101, cp_9A12_0101",
       ""},
      {order_of("0009", {}), "'0009' means several macros; give the whole name: sp_0009_0101, sp_0009_0102", ""},
      {with(read, [](RunOrder &order) { order.direction = "_PARA"; }),
       "direction: '_PARA' is no direction; give read (1), write (2), none (-1) or a number",
       "<direction>: '_PARA' is no direction; give read (1), write (2), none (-1) or a number"},
      {with(read,
            [](RunOrder &order) {
              order.fields = {{"group", "--para"}};
            }),
       "group=--para: accepted are bytes (0), 1, 2; _PARA gives other words to the macro",
       "group=--para: accepted are bytes (0), 1, 2; <words> gives other words to the macro"},
      {with(read, [](RunOrder &order) { order.data_words = 0; }),
       "cp_9A12_0101 needs group=VALUE, group of eight registers; accepted are bytes (0), 1, 2", ""},
      {with(order_of("9A12", {8}), [](RunOrder &order) { order.data_words = 0; }),
       "size of _DATA: 0 is out of range; give 1 to 16777216", "<size>: 0 is out of range; give 1 to 16777216"},
      {with(order_of("9A12", {8}), [](RunOrder &order) { order.data_words = DATA_WORDS_LIMIT + 1; }),
       "size of _DATA: 16777217 is out of range; give 1 to 16777216",
       "<size>: 16777217 is out of range; give 1 to 16777216"},
      {with(order_of("9A12", {8}),
            [](RunOrder &order) {
              order.data = {1, 2};
              order.data_words = 1;
            }),
       "size of _DATA: _DATA of 1 words does not hold the 2 words of _DATA",
       "<size>: _DATA of 1 words does not hold the 2 words of <data>"},
      {with(order_of("9A12", {8}), [](RunOrder &order) { order.direction = "write"; }),
       "cp_9A12_0101 reads 1 word of _DATA with direction write, and none is given; give it with _DATA, or value=",
       "cp_9A12_0101 reads 1 word of _DATA with direction write, and none is given; give it with <data>, or value="},
      {with(order_of("sp_0001_0101", {}),
            [](RunOrder &order) {
              order.fields = {{"area", macro_word{1}}};
            }),
       "'area=1': the catalogue does not know sp_0001_0101; give its words with _PARA",
       "'area=1': the catalogue does not know sp_0001_0101; give its words with <words>"},
      {with(order_of("io_9685", {}),
            [](RunOrder &order) {
              order.fields = {{"macro", macro_word{0x9A10}}};
            }),
       "macro=0x9A10: cp_9A10_0101 uses 48 words of _DATA, and io_9685_0101 has room for 2", ""},
  };
  Bench bench{source()};
  bench.macros();
  for (const Row &row : rows)
    try {
      static_cast<void>(make_request(row.order, bench.catalogue()));
      ADD_FAILURE() << row.neutral;
    } catch (const InputError &error) {
      EXPECT_EQ(std::string{error.what()}, row.neutral);
      EXPECT_EQ(error.text(own_name), row.own.empty() ? row.neutral : row.own);
    }
}

}  // namespace
}  // namespace engine
