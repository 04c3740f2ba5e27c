#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "cases_arrays.hpp"
#include "cases_clock.hpp"
#include "cases_cpu_registers.hpp"
#include "cases_dimm.hpp"
#include "cases_ioc_scf.hpp"
#include "cases_memory_ports.hpp"
#include "cases_sc.hpp"
#include "cases_xb.hpp"
#include "scdb/macros.hpp"
#include "scdb/record.hpp"

// One loop over every macro: the 1st, 2nd, ... last primitive call of each case is made to fail.  Every run must end as
// the macro's rule says, with _DATA as it stood when the call failed.

namespace {

std::vector<cases::Case> all_cases() {
  std::vector<cases::Case> all;
  for (const auto &family : {cases::cpu_registers(), cases::arrays(), cases::clock(), cases::memory_ports(),
                             cases::dimm(), cases::system_controller(), cases::crossbar(), cases::ioc_scf()})
    all.insert(all.end(), family.begin(), family.end());
  return all;
}

/// Longer runs are sampled: every call of the first ones, then calls spread over the rest.
constexpr std::size_t COMPLETE = 2000;
constexpr std::size_t SAMPLE_DISTANCE = 9973;

std::vector<std::size_t> calls_to_fail(std::size_t calls) {
  std::vector<std::size_t> chosen;
  for (std::size_t i = 0; i < calls; ++i)
    if (i < COMPLETE || i % SAMPLE_DISTANCE == 0)
      chosen.push_back(i);
  return chosen;
}

/// What _DATA holds, in one number.
std::size_t digest(std::span<const macro_word> data) {
  return std::hash<std::string_view>{}({reinterpret_cast<const char *>(data.data()), data.size_bytes()});
}

class FailureLoop : public testing::TestWithParam<cases::Case> {};

TEST_P(FailureLoop, StopsAsItsRuleSays) {
  const cases::Case &row = GetParam();
  const auto server = scdb::open_machine_text(row.server, "server of the case");
  const auto fresh_run = [&](support::Recorder &recorder, const support::UnitWords &unit) {
    auto before = scdb::attach(server->copy());
    support::RunResult run = support::run_macro(row.input, unit, recorder);
    static_cast<void>(scdb::attach(std::move(before)));
    return run;
  };
  const support::UnitWords unit = support::one_chip(row.kind);

  // What _DATA holds before each call of the undisturbed run is what must be left when that call fails.
  support::Recorder undisturbed(unit);
  std::vector<std::size_t> stored;
  undisturbed.on_call = [&](std::size_t index, std::span<const macro_word> data) {
    stored.push_back(index < COMPLETE || index % SAMPLE_DISTANCE == 0 ? digest(data) : 0);
  };
  const support::RunResult reference = fresh_run(undisturbed, unit);
  ASSERT_GT(undisturbed.failable(), 0U) << "the case makes no call that could fail";
  ASSERT_NE(reference.status, MACRO_FAILED) << "the case fails by itself";

  for (const std::size_t index : calls_to_fail(undisturbed.failable())) {
    support::Recorder recorder(unit);
    recorder.fail_call(index);
    const support::RunResult run = fresh_run(recorder, unit);
    ASSERT_GT(recorder.failed_at(), 0U);
    const std::string &failed = run.calls[recorder.failed_at() - 1];
    SCOPED_TRACE(fmt::format("call {} of {}: {}", index + 1, undisturbed.failable(), failed));
    ASSERT_TRUE(std::equal(run.calls.begin(), run.calls.begin() + static_cast<std::ptrdiff_t>(recorder.failed_at()),
                           reference.calls.begin()))
        << "the run differs before the failure";
    ASSERT_TRUE(row.after(failed, std::span(run.calls).subspan(recorder.failed_at())))
        << "calls after the failure: "
        << testing::PrintToString(std::vector<std::string>(
               run.calls.begin() + static_cast<std::ptrdiff_t>(recorder.failed_at()), run.calls.end()));
    if (row.fails(failed)) {
      ASSERT_EQ(run.status, MACRO_FAILED);
      if (row.result_tells) {
        ASSERT_EQ(run.result, -1);
      }
      if (row.data_stays) {
        ASSERT_EQ(digest(run.data), stored[index]) << "_DATA is not what had been stored before the call";
      }
    }
  }
}

std::string name_of_case(const testing::TestParamInfo<cases::Case> &info) {
  return fmt::format("{}_{}", info.param.input.macro, info.index);
}

INSTANTIATE_TEST_SUITE_P(EveryMacro, FailureLoop, testing::ValuesIn(all_cases()), name_of_case);

TEST(Cases, EveryMacroHasOne) {
  if (scdb::macros().empty())
    scdb::load_macro_library(MACRO_LIBRARY);
  std::set<std::string> covered;
  for (const cases::Case &row : all_cases())
    covered.insert(row.input.macro);
  for (const scdb::Macro &macro : scdb::macros())
    EXPECT_TRUE(covered.contains(macro.name)) << macro.name << " has no row";
}

}  // namespace
