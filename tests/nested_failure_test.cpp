#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "scdb/record.hpp"
#include "support/stage.hpp"

// Macros that call macros: whatever fails at whatever depth, every level above it stops, the record stays that of what
// failed first, and each ring is closed or known to be open.

namespace {

using scdb::Chip;
using scdb::ChipKind;
using scdb::Reason;
using support::Follower;
using support::Lines;
using support::RunInput;
using support::Stage;
using support::UnitWords;

constexpr macro_word LEVELS = 4;
constexpr macro_word FIRST_RING = 0x30;
constexpr macro_word CLOSE_NONE = 0;
constexpr macro_word CLOSE_ALL = 0xFF;
constexpr macro_word RINGS_OF_THEIR_OWN = 1;

/// What the lowest level calls: number, _RW, first parameter.
struct Bottom {
  macro_word number = 0;
  macro_word rw = 0;
  macro_word para = 0;
};

RunInput chain(macro_word closing, const Bottom &bottom, macro_word rings = RINGS_OF_THEIR_OWN) {
  return {"cp_0100_0101", 0, {LEVELS, closing, rings, bottom.number, bottom.rw, bottom.para}};
}

class Nested : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (scdb::macros().empty())
      scdb::load_macro_library(MACRO_LIBRARY);
    scdb::load_macro_library(NESTED_MACROS);
  }

  /// Lines of an undisturbed run; the call that can fail with index i stands at line i, for the chain does not wait.
  static Lines reference(const RunInput &input, const UnitWords &unit) {
    support::Recorder recorder(unit);
    EXPECT_NE(run_macro(input, unit, recorder).status, MACRO_FAILED);
    return recorder.lines();
  }

  /// The contents of a ring of a chip.
  static std::vector<macro_word> contents(Chip chip, unsigned ring) {
    std::vector<macro_word> words((scdb::machine().ring_bits(chip, ring) + 31) / 32);
    EXPECT_TRUE(scdb::machine().read_ring({&chip, 1}, ring, words).ok());
    return words;
  }
};

/// What the levels above a failure still do, and which rings they leave open: those that are open before line `failed`
/// are closed by levels that close, lowest first.  A level's calls are indented by two blanks for each level above it.
std::pair<Lines, std::set<macro_word>> way_up(const Lines &lines, std::size_t failed, macro_word closing) {
  std::vector<std::string> open;
  for (std::size_t i = 0; i < failed; ++i) {
    const std::string what = lines[i].substr(lines[i].find_first_not_of(' '));
    if (what.starts_with("open"))
      open.push_back(lines[i]);
    else if (what.starts_with("close"))
      open.pop_back();
  }
  std::pair<Lines, std::set<macro_word>> result;
  for (std::size_t level = open.size(); level-- > 0;) {
    std::string close = open[level].replace(open[level].find("open"), 4, "close");
    const macro_word below = LEVELS - static_cast<macro_word>(level);
    if ((closing >> below & 1) == 0 || close == lines[failed])
      result.second.insert(FIRST_RING + below);
    else
      result.first.push_back(std::move(close));
  }
  return result;
}

TEST_F(Nested, EveryCallFailsAtEveryDepth) {
  const support::Server server;
  const UnitWords unit = support::one_chip(ChipKind::cpu);
  for (const Bottom &bottom : {Bottom{}, Bottom{0x9A12, 1, 0x17}, Bottom{0x1A34, 1, 0x00020001}})
    for (const macro_word closing : {CLOSE_NONE, macro_word{0x0A}, macro_word{0x15}, CLOSE_ALL}) {
      const RunInput input = chain(closing, bottom);
      const Lines lines = reference(input, unit);
      Stage stage(input, unit);
      for (std::size_t i = 0; i < lines.size(); ++i) {
        SCOPED_TRACE(fmt::format("macro {:X} at the bottom, closing {:X}: {}", bottom.number, closing, lines[i]));
        Follower follower(unit);
        follower.fail_call(i);
        {
          const scdb::Observing observing(follower);
          EXPECT_EQ(stage.run(), -1);
        }
        EXPECT_EQ(_RETURN, MACRO_FAILED);
        EXPECT_EQ(follower.failed(), lines[i]);
        const auto [later, open] = way_up(lines, i, closing);
        EXPECT_EQ(follower.later(), later);
        EXPECT_EQ(follower.left_open(), open);
        const std::span<const macro_word> err = stage.err().contents();
        EXPECT_EQ(scdb::describe(scdb::read_failure(err).value()),
                  scdb::describe(
                      {follower.failed_primitive(), follower.failed_code(), scdb::Outcome::failure(Reason::injected)}));
        EXPECT_EQ(std::ranges::count(err, support::ERR_BACKGROUND), ERROR_RECORD_WORDS - 5);
        // Levels that had read have stored their word, and no others.
        for (macro_word below = 0; below <= LEVELS; ++below) {
          const std::string read = std::string(2 * std::size_t{LEVELS - below}, ' ') + "read B1";
          const bool stored = std::find(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(i), read)
                              != lines.begin() + static_cast<std::ptrdiff_t>(i);
          EXPECT_EQ(stage.data().contents()[below] != support::background(below), stored) << below;
        }
        EXPECT_TRUE(stage.kept_to_its_areas());
        EXPECT_TRUE(scdb::restore_open_rings().ok());
        if (HasFailure())
          return;
      }
    }
}

/// One of four chips stops answering, for good or for one access, at each of its accesses: those that the macros of the
/// machine make are among them.
TEST_F(Nested, AChipFailsAtEveryDepth) {
  const UnitWords unit = [] {
    const support::Server server;
    return support::all_chips(ChipKind::cpu);
  }();
  constexpr Chip SICK{ChipKind::cpu, 1, 0};
  const RunInput input = chain(CLOSE_NONE, {0x1A34, 1, 0x00030001});
  // A level makes five accesses; the macro of the machine is one, and reads three registers.
  constexpr unsigned ACCESSES = (LEVELS + 1) * 5 + 4;
  for (const auto &[kind, times, reason] :
       {std::tuple{"dead", "'always'", Reason::dead_chip}, std::tuple{"no-acknowledge", "1", Reason::no_acknowledge}})
    for (unsigned access = 0; access <= ACCESSES; ++access) {
      SCOPED_TRACE(fmt::format("{} after {} accesses", kind, access));
      const support::Server server(
          fmt::format("base = 'default'\n[[fault]]\nchip = 'cpu:1.0'\nplace = 'chip'\nkind = '{}'\nafter = {}\n"
                      "times = {}\n",
                      kind, access, times));
      Stage stage(input, unit);
      Follower follower(unit);
      {
        const scdb::Observing observing(follower);
        stage.run();
      }
      if (access == ACCESSES) {
        EXPECT_EQ(_RETURN, 0U) << "the chip has more accesses than were tried";
        EXPECT_TRUE(scdb::open_rings().empty());
        continue;
      }
      EXPECT_EQ(_RETURN, MACRO_FAILED);
      EXPECT_TRUE(follower.later().empty());
      EXPECT_EQ(
          scdb::describe(scdb::read_failure(stage.err().contents()).value()),
          scdb::describe({follower.failed_primitive(), follower.failed_code(), scdb::Outcome::failure(reason, SICK)}));
      // A closing that failed has put back the rings of the chips before the sick one.
      std::set<macro_word> open;
      for (const scdb::OpenRing &ring : scdb::open_rings())
        if (ring.chip == SICK)
          open.insert(ring.ring);
      EXPECT_EQ(open, follower.left_open());
      // What can be restored is; the sick chip's rings are known for when it answers again.
      const bool dead = reason == Reason::dead_chip;
      EXPECT_EQ(scdb::restore_open_rings().ok(), !dead || open.empty());
      EXPECT_EQ(scdb::open_rings().size(), dead ? open.size() : 0);
      scdb::forget_open_rings();
      if (dead)
        continue;
      for (const macro_word ring : follower.opened()) {
        const std::vector<macro_word> after = contents(SICK, ring);
        const support::Server fresh;
        EXPECT_EQ(after, contents(SICK, ring)) << ring;
      }
    }
}

/// What the lowest level's call comes to goes up unchanged through all levels.
TEST_F(Nested, TheFirstFailureGoesUpAsItIs) {
  struct Row {
    const char *what;
    Bottom bottom;
    std::string fault;
    support::Record record;
  };
  const auto primitive = [](std::initializer_list<macro_word> words) {
    support::Record record{};
    record.fill(support::ERR_BACKGROUND);
    std::ranges::copy(words, record.begin());
    return record;
  };
  for (const Row &row : {
           Row{"a refused parameter", {0x9A11, 2, 5}, "", support::refusal(SUB_SELECTOR, 5)},
           Row{"no such macro", {0x0FFF, 0, 0}, "", primitive({5, 7, 0x0FFF, MACRO_ALL, 64})},
           Row{"a macro of the machine that fails",
               {0x1A34, 1, 1},
               "[[fault]]\nchip = 'cpu:0.0'\nplace = 'nested 0x1A34'\nkind = 'macro-failed'\n",
               primitive({5, 7, 0x1A34, 0x01000000, 66})},
           Row{"a macro of the machine that refuses", {0x1A34, 1, 32}, "", primitive({3, 7, 0x1A34, 0x01000000, 33})},
       })
    for (const macro_word closing : {CLOSE_NONE, CLOSE_ALL}) {
      SCOPED_TRACE(fmt::format("{}, closing {:X}", row.what, closing));
      const support::Server server("base = 'default'\n" + row.fault);
      const support::RunResult run = run_macro(chain(closing, row.bottom), support::one_chip(ChipKind::cpu));
      EXPECT_EQ(run.status, MACRO_FAILED);
      EXPECT_EQ(run.result, -1);
      EXPECT_EQ(run.err, row.record);
      EXPECT_EQ(scdb::open_rings().size(), closing == CLOSE_NONE ? LEVELS + 1 : 0);
      scdb::forget_open_rings();
    }
}

/// A ring that a level below opens as well is closed by that level: the one above has none left to close.
TEST_F(Nested, OneRingForAllLevelsIsClosedOnce) {
  const support::Server server;
  const support::RunResult run = run_macro(chain(CLOSE_ALL, {}, 0), support::one_chip(ChipKind::cpu));
  EXPECT_EQ(run.status, MACRO_FAILED);
  const std::optional<scdb::Failure> failure = scdb::read_failure(run.err);
  ASSERT_TRUE(failure.has_value());
  EXPECT_EQ(failure->primitive, scdb::Primitive::scan);
  EXPECT_EQ(failure->outcome.reason, Reason::ring_not_open);
  EXPECT_TRUE(scdb::open_rings().empty());
}

/// 64 macros may run below the first one.
TEST_F(Nested, TheLimitHoldsAndIsLeftBehind) {
  const support::Server server;
  const UnitWords unit = support::one_chip(ChipKind::cpu);
  for (const macro_word depth : {64U, 65U, 1000U, 64U}) {
    const support::RunResult run = run_macro({"cp_0101_0101", 0, {depth}, {0}}, unit);
    EXPECT_EQ(run.status, depth > 64 ? MACRO_FAILED : 0);
    EXPECT_EQ(run.result, depth > 64 ? -1 : 0);
    EXPECT_EQ(run.data[0], 65U);
    if (depth > 64) {
      EXPECT_EQ(scdb::describe(scdb::read_failure(run.err).value()),
                scdb::describe({scdb::Primitive::maccall, 0x0101, scdb::Outcome::failure(Reason::too_deep)}));
    }
  }
}

}  // namespace
