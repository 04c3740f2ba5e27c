#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "scdb/macros.hpp"
#include "scdb/record.hpp"
#include "support/support.hpp"

using scdb::Chip;
using scdb::ChipKind;
using scdb::Outcome;
using scdb::Reason;

namespace {

using Record = std::array<macro_word, ERROR_RECORD_WORDS>;

/// A machine of some chips, each with rings 1 (40 bits), 2 (70,000 bits, too long) and a JTAG register that gives board
/// and chip as bits.
class SmallMachine : public scdb::Machine {
 public:
  std::vector<Chip> existing{{ChipKind::cpu, 0, 0}, {ChipKind::cpu, 0, 1}, {ChipKind::cpu, 3, 0}, {ChipKind::sc, 0, 2}};
  bool broadcasts = true;
  std::map<Chip, std::vector<macro_word>> ring_1;
  std::vector<std::string> seen;
  std::optional<Chip> dead;

  [[nodiscard]] std::string name() const override { return "small machine"; }
  [[nodiscard]] bool simulated() const override { return true; }
  [[nodiscard]] std::vector<Chip> chips() const override { return existing; }
  [[nodiscard]] bool has(Chip chip) const override { return std::ranges::find(existing, chip) != existing.end(); }
  [[nodiscard]] bool can_broadcast() const override { return broadcasts; }
  Outcome jtag(std::span<const Chip> chips, scdb::JtagAccess access, unsigned code, macro_word &word) override {
    std::string line = fmt::format("{} {:X}", static_cast<int>(access), code);
    if (access == scdb::JtagAccess::write)
      line += fmt::format(" {:X}", word);
    for (const Chip &chip : chips) {
      line += " " + scdb::to_string(chip);
      if (dead == chip)
        return Outcome::failure(Reason::dead_chip, chip);
      if (access == scdb::JtagAccess::read)
        word |= 1U << chip.board | 0x100U << chip.number;
    }
    seen.push_back(line);
    return Outcome::success();
  }
  [[nodiscard]] std::size_t ring_bits(Chip /*chip*/, unsigned ring) const override {
    return ring == 1 ? 40 : ring == 2 ? 70'000 : 0;
  }
  Outcome read_ring(std::span<const Chip> chips, unsigned /*ring*/, std::span<macro_word> words) override {
    std::ranges::fill(words, 0);
    for (const Chip &chip : chips) {
      if (dead == chip)
        return Outcome::failure(Reason::dead_chip, chip);
      for (std::size_t i = 0; i < words.size(); ++i)
        words[i] |= contents(chip)[i];
    }
    return Outcome::success();
  }
  Outcome write_ring(std::span<const Chip> chips, unsigned /*ring*/, std::span<const macro_word> words) override {
    for (const Chip &chip : chips) {
      if (dead == chip)
        return Outcome::failure(Reason::dead_chip, chip);
      contents(chip).assign(words.begin(), words.end());
    }
    return Outcome::success();
  }
  std::vector<macro_word> &contents(Chip chip) {
    auto &words = ring_1[chip];
    words.resize(2);
    return words;
  }
};

class Primitives : public testing::Test {
 protected:
  Primitives() { scdb::begin_run(); }
  support::Attached<SmallMachine> machine_;
  Record err_{};
  support::UnitWords unit_{1, 0x9, {0x30000, 0, 0, 0x10000}};  // cpu:0.0, cpu:0.1, cpu:3.0

  macro_word jtag(macro_word kind, macro_word code, macro_word data = 0, scdb::Triple to = {}, macro_word count = 1) {
    return lmcr_jtag(to.t0, to.t1, to.t2, kind, code, data, count, &_RETURN, err_.data(), unit_.type, unit_.number,
                     unit_.mring.data());
  }
  void scan(macro_word mode, macro_word ring, macro_word *buffer = _SCANBUFFER, macro_word count = 1) {
    lmcr_scan(mode, MACRO_ALL, MACRO_ALL, MACRO_ALL, ring, buffer, count, &_RETURN, err_.data(), unit_.type,
              unit_.number, unit_.mring.data());
  }
  /// The failure that the last primitive reported, and a clear status for the next.
  std::string take_failure() {
    if (_RETURN != MACRO_FAILED)
      return "none";
    _RETURN = 0;
    const auto failure = scdb::read_failure(err_);
    err_.fill(0);
    return failure ? scdb::describe(*failure) : "no record";
  }
};

TEST_F(Primitives, UnitWordsAndTripleDesignateChips) {
  struct Row {
    support::UnitWords unit;
    scdb::Triple to;
    std::string seen;  ///< chips, or the failure
  };
  constexpr macro_word ALL = MACRO_ALL;
  const std::string at = "lmcr_jtag, code 0x10";
  const auto unit = [](macro_word type, macro_word number, macro_word first, macro_word fourth = 0) {
    return support::UnitWords{type, number, {first, 0, 0, fourth}};
  };
  for (const Row &row : {
           Row{unit(1, 0x1, 0x10000), {}, " cpu:0.0"},
           Row{unit(1, 0x1, 0x30F0F, 0x10000), {}, " cpu:0.0 cpu:0.1"},  // bits of other kinds and boards do not count
           Row{unit(1, 0x9, 0x30000, 0x10000), {}, " cpu:0.0 cpu:0.1 cpu:3.0"},
           Row{unit(1, 0x9, 0x30000, 0x10000), {ALL, 0x8, ALL}, " cpu:3.0"},
           Row{unit(1, 0x9, 0x30000, 0x10000), {ALL, 0x1, 0x20000}, " cpu:0.1"},
           Row{unit(2, 0x1, 0x400), {ALL, 0x1, 0x400}, " sc:0.2"},
           Row{unit(1, 0x1, 0x30000),
               {ALL, 0x8, ALL},
               at + ": the target triple names what the unit words do not designate (bad target)"},
           Row{unit(1, 0x1, 0x30000),
               {ALL, ALL, 0x100},
               at + ": the target triple names what the unit words do not designate (bad target)"},
           Row{unit(1, 0x1, 0x30000),
               {0, ALL, ALL},
               at + ": the target triple names what the unit words do not designate (bad target)"},
           Row{unit(3, 0x1, 0x30000), {}, at + ": unknown unit type (bad target)"},
           Row{unit(1, 0x0, 0x30000), {}, at + ": the unit number is no mask of boards 0 to 15 (bad target)"},
           Row{unit(1, 0x10001, 0x30000), {}, at + ": the unit number is no mask of boards 0 to 15 (bad target)"},
           Row{unit(1, 0x2, 0x30000), {}, at + ": the location words designate no chip (bad target)"},
           Row{unit(1, 0x1, 0x50000), {}, at + ", cpu:0.2: the machine has no such chip (bad target)"},
       }) {
    unit_ = row.unit;
    machine_->seen.clear();
    jtag(2, 0x10, 0, row.to);
    const std::string failure = take_failure();
    EXPECT_EQ(failure == "none" ? machine_->seen.at(0).substr(4) : failure, row.seen);
  }
}

TEST_F(Primitives, JtagReadsAreOredAndArgumentsChecked) {
  EXPECT_EQ(jtag(0, 0xB1), 0x309U);
  EXPECT_EQ(take_failure(), "none");
  EXPECT_EQ(jtag(1, 0xB0, 0xABCD), 0U);
  EXPECT_EQ(machine_->seen.back(), "1 B0 ABCD cpu:0.0 cpu:0.1 cpu:3.0");
  machine_->dead = Chip{ChipKind::cpu, 3, 0};
  EXPECT_EQ(jtag(0, 0xB1), 0U);
  EXPECT_EQ(take_failure(), "lmcr_jtag, code 0xB1, cpu:3.0: the chip does not answer (hardware error)");
  jtag(3, 0xB1);
  EXPECT_EQ(take_failure(), "lmcr_jtag, code 0xB1: no such access kind, mode or direction (bad argument)");
  jtag(0, 0x100);
  EXPECT_EQ(take_failure(), "lmcr_jtag, code 0x0100: the code is above 0xFF (bad argument)");
  jtag(0, 0xB1, 0, {}, 2);
  EXPECT_EQ(take_failure(), "lmcr_jtag, code 0xB1: the count or length is out of range (bad argument)");
  lmcr_mjtag(MACRO_ALL, 0x1, 0x10000, 0xBA, 7, 1, &_RETURN, err_.data(), 1, 9, unit_.mring.data(), 1);
  EXPECT_EQ(machine_->seen.back(), "1 BA 7 cpu:0.0");
  lmcr_mjtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, 0xBA, 7, 1, &_RETURN, err_.data(), 1, 9, unit_.mring.data(), 0);
  EXPECT_EQ(take_failure(), "lmcr_mjtag, code 0xBA: the trailing word is not 1 (bad argument)");
}

TEST_F(Primitives, BroadcastGroupsAreCounted) {
  const macro_word mring[MRING_WORDS] = {0xF0000, 0x10000, 0, 0x10000};
  EXPECT_EQ(lmcr_bcast(1, 0x9, mring), 3);
  EXPECT_EQ(lmcr_bcast(1, 0x1, mring), 2);
  EXPECT_EQ(lmcr_bcast(1, 0x2, mring), 0);
  EXPECT_EQ(lmcr_bcast(4, 0x9, mring), 0);
  EXPECT_LT(lmcr_bcast(1, 0x0, mring), 0);
  EXPECT_LT(lmcr_bcast(1, 0x10000, mring), 0);
  EXPECT_LT(lmcr_bcast(5, 0x9, mring), 0);
  EXPECT_LT(lmcr_bcast(1, 0x9, nullptr), 0);
  machine_->broadcasts = false;
  EXPECT_EQ(lmcr_bcast(1, 0x9, mring), 0);
  EXPECT_EQ(lmcr_bcast(1, 0x8, mring), 1);
}

TEST_F(Primitives, RingsAreKeptForEachChipFromOpeningToClosing) {
  const Chip first{ChipKind::cpu, 0, 0};
  const Chip second{ChipKind::cpu, 0, 1};
  unit_ = {1, 0x1, {0x30000}};
  machine_->contents(first) = {0xF0F0F0F0, 0x12000000};
  machine_->contents(second) = {0x0F000000, 0x34000000};
  _SCANBUFFER[2] = 0xFEEDFEED;
  scan(128, 1);
  EXPECT_EQ(_SCANBUFFER[0], 0xFFF0F0F0U);
  EXPECT_EQ(_SCANBUFFER[1], 0x36000000U);
  EXPECT_EQ(_SCANBUFFER[2], 0xFEEDFEEDU);
  EXPECT_EQ(scdb::open_rings(), (std::vector<scdb::OpenRing>{{first, 1}, {second, 1}}));
  _SCANBUFFER[0] = 0xAAAAAAAA;
  scan(1, 1);
  EXPECT_EQ(machine_->contents(second)[0], 0xAAAAAAAAU);
  scan(129, 1);
  EXPECT_EQ(machine_->contents(first), (std::vector<macro_word>{0xF0F0F0F0, 0x12000000}));
  EXPECT_EQ(machine_->contents(second), (std::vector<macro_word>{0x0F000000, 0x34000000}));
  EXPECT_TRUE(scdb::open_rings().empty());
  EXPECT_EQ(take_failure(), "none");

  scan(129, 1);
  EXPECT_EQ(take_failure(), "lmcr_scan, ring 0x01, cpu:0.0: the ring is closed without having been opened (refused)");

  // A failed run leaves its rings open: they can be put back, or opened anew with what they hold by then.
  scan(128, 1);
  scan(1, 1);
  machine_->dead = second;
  EXPECT_EQ(scdb::restore_open_rings().reason, Reason::dead_chip);
  EXPECT_EQ(machine_->contents(first)[0], 0xF0F0F0F0U);
  EXPECT_EQ(scdb::open_rings(), (std::vector<scdb::OpenRing>{{second, 1}}));
  machine_->dead.reset();
  machine_->contents(second)[0] = 0x11111111;
  unit_ = {1, 0x1, {0x20000}};
  scan(128, 1);
  machine_->contents(second)[0] = 0;
  EXPECT_TRUE(scdb::restore_open_rings().ok());
  EXPECT_EQ(machine_->contents(second)[0], 0x11111111U);
  EXPECT_EQ(take_failure(), "none");
}

TEST_F(Primitives, ASubstituteGivesMachineAndOpenRingsBack) {
  const Chip chip{ChipKind::cpu, 0, 0};
  unit_ = {1, 0x1, {0x10000}};
  machine_->contents(chip) = {0x11111111, 0x22000000};
  scan(128, 1);
  machine_->contents(chip)[0] = 0x33333333;
  {
    const scdb::Substitute other{std::make_unique<SmallMachine>()};
    scan(129, 1);  // what is open before is open there
    EXPECT_TRUE(scdb::open_rings().empty());
  }
  EXPECT_EQ(machine_->contents(chip)[0], 0x33333333U);
  scan(129, 1);
  EXPECT_EQ(machine_->contents(chip)[0], 0x11111111U);
  EXPECT_EQ(take_failure(), "none");
}

TEST_F(Primitives, ScanChecksItsArguments) {
  unit_ = {1, 0x1, {0x10000}};
  struct Row {
    macro_word mode, ring;
    macro_word *buffer;
    macro_word count;
    const char *failure;
  };
  for (const Row &row : {
           Row{2, 1, _SCANBUFFER, 1, "lmcr_scan, ring 0x01: no such access kind, mode or direction (bad argument)"},
           Row{0, 0x101, _SCANBUFFER, 1, "lmcr_scan, ring 0x0101: the code is above 0xFF (bad argument)"},
           Row{0, 1, _SCANBUFFER, 2, "lmcr_scan, ring 0x01: the count or length is out of range (bad argument)"},
           Row{0, 1, nullptr, 1, "lmcr_scan, ring 0x01: a pointer that is needed is null (bad argument)"},
           Row{0, 3, _SCANBUFFER, 1, "lmcr_scan, ring 0x03, cpu:0.0: the chip has no such ring (refused)"},
           Row{0, 2, _SCANBUFFER, 1, "lmcr_scan, ring 0x02, cpu:0.0: the ring is longer than a scan buffer (refused)"},
       }) {
    scan(row.mode, row.ring, row.buffer, row.count);
    EXPECT_EQ(take_failure(), row.failure);
  }
  // What does not have what is asked for is no failure of the primitive library, and never a success.
  lmcr_i2cctl(1, MACRO_ALL, MACRO_ALL, MACRO_ALL, 34, _SCANBUFFER, 4, 2, &_RETURN, err_.data(), 1, 1,
              unit_.mring.data());
  EXPECT_EQ(take_failure(), "lmcr_i2cctl, device 0x22: the machine has no such kind of access (refused)");
  lmcr_i2cctl(1, MACRO_ALL, MACRO_ALL, MACRO_ALL, 34, _SCANBUFFER, 0, 2, &_RETURN, err_.data(), 1, 1,
              unit_.mring.data());
  EXPECT_EQ(take_failure(), "lmcr_i2cctl, device 0x22: the count or length is out of range (bad argument)");
  lmcr_mbcreg(1, MACRO_ALL, MACRO_ALL, 0, 0x30002, 3, _SCANBUFFER, 1, &_RETURN, err_.data(), 1, 1, unit_.mring.data());
  EXPECT_EQ(take_failure(), "lmcr_mbcreg, register 0x00030002: the count or length is out of range (bad argument)");
  lmcr_mbcreg(2, 0, MACRO_ALL, 0, 0x30002, 4, _SCANBUFFER, 1, &_RETURN, err_.data(), 1, 1, unit_.mring.data());
  EXPECT_EQ(take_failure(), "lmcr_mbcreg, register 0x00030002: the machine has no such kind of access (refused)");
}

TEST_F(Primitives, ShiftMovesFields) {
  struct Row {
    macro_word value, source, destination, width, moved;
  };
  for (const Row &row : {
           Row{39, 26, 6, 6, 0x02700000},
           Row{0xFFFF8000, 16, 0, 1, 0x80000000},
           Row{1, 31, 1, 1, 0x40000000},
           Row{0x12345678, 16, 24, 8, 0x56},
           Row{0xABCDEF99, 24, 8, 8, 0x00990000},
           Row{MACRO_ALL, 0, 0, 32, MACRO_ALL},
           Row{MACRO_ALL, 8, 8, 0, 0},
           Row{MACRO_ALL, 32, 0, 8, 0},
           Row{MACRO_ALL, 0, 32, 8, 0},
           Row{MACRO_ALL, 28, 0, 16, 0xF0000000},
           Row{MACRO_ALL, 0, 28, 16, 0x0000000F},
       })
    EXPECT_EQ(lmcr_shift(row.value, row.source, row.destination, row.width), row.moved);
}

TEST_F(Primitives, ParityAndCheckBits) {
  const macro_word data[] = {0x80000001, 0x00000003};
  const macro_word masks[] = {0xFFFFFFFF, 0x00000001};
  const macro_word place = 0x20000000;
  macro_word result = MACRO_ALL;
  EXPECT_EQ(lmcr_egen(1, data, masks, &result, &place, 0, &_RETURN), 0U);
  EXPECT_EQ(lmcr_egen(2, data, masks, &result, &place, 0, &_RETURN), place);
  EXPECT_EQ(result, place);
  EXPECT_EQ(lmcr_egen(2, data, masks, &result, &place, 1, &_RETURN), 0U);
  result = MACRO_ALL;
  EXPECT_EQ(lmcr_echk(2, data, masks, &result, &place, 0, &_RETURN), 0U);  // read and generated agree
  result = 0;
  EXPECT_EQ(lmcr_echk(2, data, masks, &result, &place, 0, &_RETURN), place);
  EXPECT_EQ(lmcr_pgen(0x7, &result, 0, &_RETURN), 1U);
  EXPECT_EQ(lmcr_pgen(0x7, &result, 1, &_RETURN), 0U);
  result = 1;
  EXPECT_EQ(lmcr_pchk(0x7, &result, 0, &_RETURN), 0U);
  EXPECT_EQ(_RETURN, 0U);
  EXPECT_EQ(lmcr_egen(3, data, masks, &result, &place, 0, &_RETURN), 0U);
  EXPECT_EQ(std::exchange(_RETURN, 0U), MACRO_FAILED);
  EXPECT_EQ(lmcr_echk(1, data, nullptr, &result, &place, 0, &_RETURN), 0U);
  EXPECT_EQ(std::exchange(_RETURN, 0U), MACRO_FAILED);
  EXPECT_EQ(lmcr_pgen(1, nullptr, 0, &_RETURN), 0U);
  EXPECT_EQ(std::exchange(_RETURN, 0U), MACRO_FAILED);
}

/// A machine that offers two macros: one works, one calls itself by number without end.
class NestingMachine : public SmallMachine {
 public:
  unsigned deepest = 0;
  [[nodiscard]] bool offers(macro_word number) const override { return number == 0x1A00 || number == 0x1A01; }
  Outcome nested(const scdb::NestedCall &call) override {
    if (call.number == 0x1A00) {
      call.data[0] = call.rw + call.para[0];
      return Outcome::success();
    }
    ++deepest;
    lmcr_maccall(call.unit.type, call.unit.number, call.unit.mring, call.rw, 0x1A01, call.para, call.data, &_RETURN,
                 call.err, call.exp);
    return _RETURN == MACRO_FAILED ? Outcome::failure(Reason::macro_failed) : Outcome::success();
  }
};

TEST(NestedCalls, ReachLibraryMachineAndNothingElse) {
  support::Attached<NestingMachine> attached;
  const support::UnitWords unit = support::one_chip(ChipKind::cpu);
  if (scdb::macros().empty())
    scdb::load_macro_library(MACRO_LIBRARY);
  Record err{};
  std::vector<macro_word> data(64);
  const macro_word para[8] = {5};
  const auto call = [&](macro_word rw, macro_word number) {
    scdb::begin_run();
    const std::int32_t result = lmcr_maccall(unit.type, unit.number, unit.mring.data(), rw, number, para, data.data(),
                                             &_RETURN, err.data(), nullptr);
    return _RETURN == MACRO_FAILED ? -1 : result;
  };
  EXPECT_EQ(call(2, 0x9A11), -1);  // the library's macro refuses selector 5: the record is its own
  EXPECT_EQ(err[ERR_CLASS], ERR_PARAMETER);
  EXPECT_EQ(err[ERR_VALUE], 5U);
  EXPECT_EQ(call(1, 0x9A11), 0);
  EXPECT_EQ(call(2, 0x1A00), 0);
  EXPECT_EQ(data[0], 7U);
  err.fill(0);
  EXPECT_EQ(call(1, 0x9999), -1);
  EXPECT_EQ(
      scdb::describe(scdb::read_failure(err).value()),
      "lmcr_maccall, macro 0x9999: no loaded library and not the machine has a macro of this number (nested macro)");
  EXPECT_EQ(call(1, 0x1A01), -1);
  EXPECT_EQ(attached->deepest, 64U);
  // All levels failed; the record is that of the innermost.
  EXPECT_EQ(scdb::read_failure(err).value().outcome.reason, Reason::too_deep);
}

TEST(Names, AreTakenApart) {
  const auto parts = scdb::parse_macro_name("cpj_A2CC_0101");
  ASSERT_TRUE(parts);
  EXPECT_EQ(parts->prefix, "cpj");
  EXPECT_EQ(parts->number, 0xA2CCU);
  EXPECT_EQ(parts->variant, 101U);
  for (const char *name : {"cp_9a10_0101", "cp_9A10_01011", "cq_9A10_0101", "_9A10_0101", "cp_9A10-0101",
                           "cpu_dbg_dummy", "cp_9A10_010A", ""})
    EXPECT_FALSE(scdb::parse_macro_name(name)) << name;
  const auto identification =
      scdb::parse_identification("MACRO: cp_9A10_0101 (0001)  2026.03.04 05:06:07  PRO1 A.NAME of two words");
  ASSERT_TRUE(identification);
  EXPECT_EQ(identification->revision, "0001");
  EXPECT_EQ(identification->date, "2026.03.04");
  EXPECT_EQ(identification->time, "05:06:07");
  EXPECT_EQ(identification->group, "PRO1");
  EXPECT_EQ(identification->author, "A.NAME of two words");
  EXPECT_FALSE(scdb::parse_identification("MACRO: cp_9A10_0101 (0001) 2026.03.04 05:06:07  PRO1 X"));
}

TEST(Records, HoldEveryReason) {
  for (unsigned number = 1; number < 256; ++number) {
    const auto reason = static_cast<Reason>(number);
    if (scdb::title_of(reason) == "unknown reason")
      continue;
    for (const Outcome &outcome : {Outcome::failure(reason), Outcome::failure(reason, {ChipKind::xb, 15, 1})}) {
      Record record{};
      scdb::write_failure(record.data(), {scdb::Primitive::jtag, 0xB1, outcome});
      const auto read = scdb::read_failure(record);
      ASSERT_TRUE(read) << number;
      EXPECT_EQ(read->outcome.reason, reason);
      EXPECT_EQ(read->outcome.placed, outcome.placed);
      EXPECT_EQ(read->outcome.place, outcome.place);
    }
  }
  EXPECT_FALSE(scdb::read_failure(Record{}));
  Record foreign{ERR_PARAMETER, 1, 2, 3, 4};
  EXPECT_FALSE(scdb::read_failure(foreign));
}

}  // namespace
