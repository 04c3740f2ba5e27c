#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>

#include "cases_all.hpp"
#include "scdb/record.hpp"
#include "support/failing_machine.hpp"
#include "support/stage.hpp"

// Loops over every macro: the 1st, 2nd, ... last primitive call of each case is made to fail, and the machine breaks
// down at the 1st, 2nd, ... last access that the breakdown can strike.  Every run must end as the macro's rule says.
// Of a run of more than COMPLETE calls or accesses (xb_9408_0101 makes 160,000) some are chosen.

namespace {

using scdb::Primitive;
using scdb::Reason;
using support::Breakdown;
using support::ERR_BACKGROUND;
using support::Follower;

/// Up to so many steps a run is disturbed at every one.
constexpr std::size_t COMPLETE = 2000;

/// The points at which a run of `count` steps is disturbed: all, or of too many the first `first`, and `spread` of the
/// others at equal distances, the last step among them.
std::vector<std::size_t> points(std::size_t count, std::size_t first, std::size_t spread) {
  std::vector<std::size_t> chosen(count > COMPLETE ? first : count);
  std::iota(chosen.begin(), chosen.end(), 0U);
  if (count > COMPLETE)
    for (std::size_t i = 1; i <= spread; ++i)
      chosen.push_back(first + i * (count - first) / spread - 1);
  return chosen;
}

/// The points of a run that ends at the first failure: up to there, little has to be made.
std::vector<std::size_t> points_of_failure(std::size_t count) {
  return points(count, COMPLETE / 4, 16);
}

bool same(std::span<const macro_word> one, std::span<const macro_word> other) {
  return std::equal(one.data(), one.data() + one.size(), other.data(), other.data() + other.size());
}

/// What an undisturbed run has done when it comes to certain calls.
class Course {
 public:
  explicit Course(std::span<const macro_word> data) : data_(data.begin(), data.end()), noted_(data_) {}

  /// Notes what _DATA holds, as changes since the call before, and the digest of the calls.
  void note(std::span<const macro_word> data, std::uint64_t digest) {
    Point &point = points_.emplace_back();
    point.digest = digest;
    constexpr std::size_t BLOCK = 1024;  // compared as a whole
    for (std::size_t first = 0; first < data.size(); first += BLOCK) {
      const std::size_t last = std::min(first + BLOCK, data.size());
      if (same(data.subspan(first, last - first), std::span(noted_).subspan(first, last - first)))
        continue;
      for (std::size_t i = first; i < last; ++i)
        if (data[i] != noted_[i])
          point.changes.emplace_back(i, noted_[i] = data[i]);
    }
  }

  /// Goes on to the next call, the first one at the start.
  void advance() {
    for (const auto &[index, word] : points_.at(next_).changes)
      data_[index] = word;
    ++next_;
  }
  [[nodiscard]] std::span<const macro_word> data() const { return data_; }
  [[nodiscard]] std::uint64_t digest() const { return points_.at(next_ - 1).digest; }

 private:
  struct Point {
    std::vector<std::pair<std::size_t, macro_word>> changes;
    std::uint64_t digest = 0;
  };
  std::vector<macro_word> data_;   // where advance() has come to
  std::vector<macro_word> noted_;  // where note() has come to
  std::vector<Point> points_;
  std::size_t next_ = 0;
};

/// Runs of one case, each on a machine as good as new.
class Trial {
 public:
  explicit Trial(const cases::Case &row)
      : row_{row},
        server_{scdb::open_machine_text(cases::small_server(row), "server of the case")},
        unit_{support::one_chip(row.kind)},
        stage_(row.input, unit_) {}
  ~Trial() { static_cast<void>(scdb::attach(nullptr)); }
  Trial(const Trial &) = delete;
  Trial &operator=(const Trial &) = delete;

  [[nodiscard]] Follower follower() const { return Follower(unit_); }

  void run(Follower &follower, Breakdown how = Breakdown::none, std::size_t access = 0,
           std::function<void(bool)> on_access = {}) {
    auto machine = std::make_unique<support::FailingMachine>(server_->copy(), how, access);
    machine->on_access = std::move(on_access);
    machine_ = machine.get();
    static_cast<void>(scdb::attach(std::move(machine)));
    const scdb::Observing observing(follower);
    result_ = stage_.run();
    status_ = _RETURN;
  }

  /// The course of an undisturbed run at the calls of these indices, which ascend.
  [[nodiscard]] Course course(const std::vector<std::size_t> &calls) {
    Course course(stage_.data().before());
    Follower follower(unit_);
    auto next = calls.begin();
    follower.on_call = [&](std::size_t index) {
      if (next == calls.end() || index != *next)
        return;
      course.note(stage_.data().contents(), follower.digest());
      ++next;
    };
    run(follower);
    return course;
  }

  /// The run has ended as the macro's rule says: its first failure was at the call that the course has come to.
  void expect_stopped(const Follower &follower, const Course &course) const {
    EXPECT_EQ(follower.digest(), course.digest()) << "the run differs before the failure";
    EXPECT_TRUE(row_.after(follower.failed(), follower.later()))
        << "calls after the failure: " << testing::PrintToString(follower.later());
    EXPECT_TRUE(stage_.kept_to_its_areas());
    if (!row_.fails(follower.failed()))
      return;
    EXPECT_EQ(status_, MACRO_FAILED);
    EXPECT_TRUE(!row_.result_tells || result_ == -1) << result_;
    EXPECT_TRUE(!row_.data_stays || same(stage_.data().contents(), course.data()))
        << "_DATA is not what had been stored before the call";
  }

  /// The record is that of the primitive call that failed, or of a later one for the same reason.
  void expect_record(const Follower &follower, Reason reason, macro_word place) const {
    const std::span<const macro_word> err = stage_.err().contents();
    const std::optional<scdb::Failure> failure = scdb::read_failure(err);
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->outcome.reason, reason);
    EXPECT_EQ(err[ERR_PLACE], place);
    if (follower.later().empty()) {
      EXPECT_EQ(failure->primitive, follower.failed_primitive());
      EXPECT_EQ(failure->code, follower.failed_code());
    }
    EXPECT_TRUE(std::ranges::all_of(err.subspan(ERR_SUBCODE), [](macro_word word) { return word == ERR_BACKGROUND; }));
  }

  /// Rings that were not closed are known to be open, and when the machine works again all get their contents back.
  void expect_rings_restored(const Follower &follower) {
    machine_->repair();
    std::set<macro_word> open;
    for (const scdb::OpenRing &ring : scdb::open_rings())
      open.insert(ring.ring);
    EXPECT_EQ(open, follower.left_open());
    EXPECT_TRUE(scdb::restore_open_rings().ok());
    for (const macro_word ring : follower.opened()) {
      const auto before = rings_.try_emplace(ring);
      if (before.second)
        before.first->second = contents(*server_, ring);
      EXPECT_EQ(contents(*machine_, ring), before.first->second) << "ring " << ring;
    }
  }

  /// A run with a lost write or a wrong answer failed by the macro's own verdict or not at all, and left no ring open.
  /// (The I/O controller's bridge is the one device that refuses what follows on a lost word.)
  void expect_no_access_failed(const Follower &follower) const {
    EXPECT_TRUE(stage_.kept_to_its_areas());
    const std::span<const macro_word> err = stage_.err().contents();
    const bool bridge_refused =
        row_.kind == scdb::ChipKind::ioc && err[ERR_REASON] == static_cast<macro_word>(Reason::no_acknowledge);
    if (follower.limited() || bridge_refused) {
      EXPECT_EQ(status_, MACRO_FAILED);
      EXPECT_TRUE(bridge_refused || err[ERR_REASON] == static_cast<macro_word>(Reason::interrupted));
      return;
    }
    const bool failed = status_ == MACRO_FAILED;
    EXPECT_EQ(err[ERR_CLASS], failed ? ERR_PARAMETER : ERR_BACKGROUND);
    EXPECT_EQ(err[ERR_REASON], ERR_BACKGROUND);
    if (row_.proves) {
      EXPECT_EQ(err[ERR_SUBCODE], SUB_THIRD);
    }
    EXPECT_TRUE(follower.left_open().empty());
  }

  /// The word for the one chip there is.
  [[nodiscard]] macro_word place() const { return unit_.type << 24; }
  [[nodiscard]] support::FailingMachine &machine() { return *machine_; }
  [[nodiscard]] macro_word status() const { return status_; }

 private:
  [[nodiscard]] std::vector<macro_word> contents(scdb::Machine &machine, macro_word ring) const {
    const scdb::Chip chip{row_.kind, 0, 0};
    std::vector<macro_word> words((machine.ring_bits(chip, ring) + 31) / 32);
    EXPECT_TRUE(machine.read_ring({&chip, 1}, ring, words).ok());
    return words;
  }

  const cases::Case &row_;
  std::unique_ptr<scdb::Machine> server_;
  std::map<macro_word, std::vector<macro_word>> rings_;  ///< contents before a run
  support::UnitWords unit_;
  support::Stage stage_;
  support::FailingMachine *machine_ = nullptr;
  int result_ = 0;
  macro_word status_ = 0;
};

/// lmcr_bcast and the code generators receive no record.
constexpr bool leaves_record(Primitive primitive) {
  return primitive != Primitive::bcast && primitive < Primitive::egen;
}

class FailureLoop : public testing::TestWithParam<cases::Case> {};

TEST_P(FailureLoop, StopsAsItsRuleSays) {
  Trial trial(GetParam());
  Follower undisturbed = trial.follower();
  trial.run(undisturbed);
  ASSERT_GT(undisturbed.failable(), 0U) << "the case makes no call that could fail";
  ASSERT_NE(trial.status(), MACRO_FAILED) << "the case fails by itself";
  const std::size_t count = undisturbed.failable();
  const std::vector<std::size_t> calls = points_of_failure(count);
  Course course = trial.course(calls);
  for (const std::size_t call : calls) {
    course.advance();
    Follower follower = trial.follower();
    follower.fail_call(call);
    trial.run(follower);
    SCOPED_TRACE(fmt::format("call {} of {}: {}", call + 1, count, follower.failed()));
    ASSERT_EQ(follower.failed_index(), call);
    trial.expect_stopped(follower, course);
    if (leaves_record(follower.failed_primitive()))
      trial.expect_record(follower, Reason::injected, MACRO_ALL);
    if (HasFailure())
      return;
  }
}

std::string name_of_case(const testing::TestParamInfo<cases::Case> &info) {
  return fmt::format("{}_{}", info.param.input.macro, info.index);
}

INSTANTIATE_TEST_SUITE_P(EveryMacro, FailureLoop, testing::ValuesIn(cases::all()), name_of_case);

class MachineFailure : public testing::TestWithParam<cases::Family> {};

TEST_P(MachineFailure, ARefusedAccessEndsTheRun) {
  for (const cases::Case &row : GetParam().rows) {
    Trial trial(row);
    Follower undisturbed = trial.follower();
    std::vector<std::size_t> call_of;  // the call that makes an access
    trial.run(undisturbed, Breakdown::none, 0, [&](bool) { call_of.push_back(undisturbed.failable() - 1); });
    const std::vector<std::size_t> accesses = points_of_failure(call_of.size());
    std::vector<std::size_t> calls;
    for (const std::size_t access : accesses)
      if (calls.empty() || calls.back() != call_of[access])
        calls.push_back(call_of[access]);

    for (const auto &[how, reason] : {std::pair{Breakdown::dead, Reason::dead_chip},
                                      std::pair{Breakdown::no_acknowledge, Reason::no_acknowledge}}) {
      Course course = trial.course(calls);
      std::size_t call = Follower::NONE;
      for (const std::size_t access : accesses) {
        if (call != call_of[access])
          course.advance();
        call = call_of[access];
        Follower follower = trial.follower();
        trial.run(follower, how, access);
        SCOPED_TRACE(fmt::format("{}, {} at access {} of {}: {}", row.input.macro, name_of(how), access + 1,
                                 call_of.size(), follower.failed()));
        ASSERT_EQ(follower.failed_index(), call);
        trial.expect_stopped(follower, course);
        const bool in_machine = follower.failed_primitive() == Primitive::maccall;
        trial.expect_record(follower, reason, in_machine ? MACRO_ALL : trial.place());
        trial.expect_rings_restored(follower);
        if (HasFailure())
          return;
      }
    }
  }
}

/// Nothing is refused: only a macro that looks for it can tell.  Every run ends all the same.
TEST_P(MachineFailure, WithoutARefusalEveryRunEnds) {
  for (const cases::Case &row : GetParam().rows) {
    Trial trial(row);
    Follower undisturbed = trial.follower();
    std::vector<std::size_t> reads;
    std::vector<std::size_t> writes;
    trial.run(undisturbed, Breakdown::none, 0,
              [&](bool reading) { (reading ? reads : writes).push_back(reads.size() + writes.size()); });
    for (const Breakdown how : {Breakdown::lost_write, Breakdown::lost_writes, Breakdown::stuck_0, Breakdown::stuck_1,
                                Breakdown::inverted_answer}) {
      // What begins at an access of the other kind strikes at the next one of its own.
      const std::vector<std::size_t> &accesses = loses(how) ? writes : reads;
      // Such a run goes on to its end: of a very long one, few have to do.
      for (const std::size_t point : points(accesses.size(), 4, 8)) {
        const std::size_t access = accesses[point];
        Follower follower = trial.follower();
        follower.limit(2 * undisturbed.failable() + 100);
        trial.run(follower, how, access);
        SCOPED_TRACE(fmt::format("{}, {} at access {} of {}", row.input.macro, name_of(how), access + 1,
                                 reads.size() + writes.size()));
        ASSERT_GT(trial.machine().struck(), 0U) << "nothing was disturbed";
        ASSERT_TRUE(row.endless || !follower.limited());
        trial.expect_no_access_failed(follower);
        if (HasFailure())
          return;
      }
    }
  }
}

std::string name_of_family(const testing::TestParamInfo<cases::Family> &info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(EveryMacro, MachineFailure, testing::ValuesIn(cases::families()), name_of_family);

TEST(Cases, EveryMacroHasOne) {
  if (scdb::macros().empty())
    scdb::load_macro_library(MACRO_LIBRARY);
  std::set<std::string> covered;
  for (const cases::Case &row : cases::all())
    covered.insert(row.input.macro);
  for (const scdb::Macro &macro : scdb::macros())
    EXPECT_TRUE(covered.contains(macro.name)) << macro.name << " has no row";
}

}  // namespace
