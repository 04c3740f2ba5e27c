#include <set>

#include "dimm_fixture.hpp"

namespace dimm {
namespace {

/// A group whose parts are all well.
struct Calibration {
  const char *what;
  macro_word para;
  macro_word configuration;
  macro_word terminated;          ///< in the mode register
  macro_word drive;               ///< drive code
  std::vector<macro_word> ranks;  ///< control words of the ranks, in order
  macro_word verdict;
};

TEST_F(Dimm, GroupCalibration) {
  for (const Calibration &row : {
           Calibration{"all ranks",
                       0x3401,
                       0xE180E180,
                       0x8000,
                       0x40,
                       {0xC001001C, 0xE001001C, 0xD001001C, 0xF001001C},
                       0x2AA00000},
           Calibration{"group 2, lower DIMM", 0x4502, 0x0000E100, 0, 0x50, {0xD0010020, 0xF0010020}, 0x22200000},
           Calibration{
               "one rank bit", 0x1301, 0xFE00E080, 0x8000, 0x30, {0xC001000C, 0xD001000C, 0xF001000C}, 0x2A200000},
           Calibration{"upper DIMM", 0x0301, 0xE0FF4180, 0, 0x30, {0xC0010040, 0xE0010040}, 0x28800000},
           Calibration{"the other rank bit",
                       0x0302,
                       0xE100FE00,
                       0x8000,
                       0x30,
                       {0xC0010004, 0xE0010004, 0xD0010004},
                       0x2A800000},
           Calibration{"no DIMM", 0xF0002302, 0x61806180, 0x8000, 0x30, {}, 0x20000000},
       }) {
    SCOPED_TRACE(row.what);
    const unsigned group = row.para & 3;
    const unsigned mode = 32 + 2 * group;
    const unsigned driver = mode + 1;
    // Without the option the nested driver adjustments come down to two control words each.
    file_->held = {{1, 0}, {31 + group, row.configuration}};
    Lines control;
    Lines adjusted;
    for (const macro_word word : row.ranks) {
      control.push_back(put(driver, word));
      adjusted = adjusted + Lines{put(driver, word | 0x380), put(driver, word)};
    }
    const RunResult run = run_macro({"ma_9001_0101", 7, {row.para, row.configuration}}, MAC);
    EXPECT_EQ(at_depth(run.calls, 0),
              (Lines{"call FFFFFFFF 9002", put(mode, row.terminated | 0x80000000), get(mode),
                     put(mode, row.terminated | 0x40000000), put(driver, 0x80020000), put(driver, 0x80030000)}
               + control
               + Lines{put(driver, row.drive | 0x80000702), put(mode, row.terminated | 0x40000000), "call 2 9004",
                       "call 1 9004", "call 2 9004", put(driver, row.drive | 0x80000602)}
               + static_cast<int>(row.ranks.size()) * Lines{"call FFFFFFFF 9006"} + Lines{"call 2 9004"}));
    const Lines hold{get(mode), put(mode, row.terminated | 0x20000000)};
    const Lines release{get(mode), get(mode), put(mode, row.terminated | 0x10000000)};
    EXPECT_EQ(starting_with(at_depth(run.calls, 1), "i2c"), hold + release + hold);
    EXPECT_EQ(starting_with(at_depth(run.calls, 2), put(driver, 0).substr(0, 12)), (Lines{put(driver, 0)} + adjusted));
    EXPECT_EQ(run.data[0], row.verdict);
    EXPECT_EQ(run.result, 0);
    EXPECT_EQ(run.status, 0U);
  }
}

TEST_F(Dimm, ModeRegisterThatDoesNotHold) {
  file_->held = {{1, 0}, {32, 0}};
  macro_word flipped = 0;
  file_->answers[34] = [&flipped](macro_word held, unsigned) { return held ^ flipped; };
  for (flipped = 0x80000000; flipped != 0; flipped >>= 1) {
    const RunResult run = run_macro({"ma_9001_0101", 0, {0x301, 0}}, MAC);
    if ((flipped & 0x8000C000) == 0) {
      EXPECT_EQ(run.status, 0U) << flipped;
      continue;
    }
    EXPECT_EQ(run.err, support::refusal(SUB_THIRD, MAC.number, {{ERR_CONTEXT, MAC.mring[0]}})) << flipped;
    EXPECT_EQ(run.status, MACRO_FAILED);
    EXPECT_EQ(run.result, -1);
    EXPECT_EQ(run.calls.back(), get(34));
  }
}

TEST_F(Dimm, WholeSequence) {
  struct Row {
    const char *what;
    macro_word option;
    macro_word configuration_1;
    macro_word configuration_2;
    Lines ranks_1;  ///< writes of the control words that follow the opening two of each group
    Lines ranks_2;
    macro_word verdict;
  };
  const std::string calibrate = "call FFFFFFFF 9001";
  const std::string poll = "call FFFFFFFF 9008";
  const auto rank = [](unsigned driver, const std::vector<macro_word> &words) {
    Lines lines;
    for (const macro_word word : words)
      lines.push_back(put(driver, word));
    return lines;
  };
  for (const Row &row : {
           Row{"both", 0, 0xE180E180, 0xFF80FF80, rank(35, {0xC0010024, 0xE0010024, 0xD0010024, 0xF0010024}),
               rank(37, {0xC0010024, 0xE0010024, 0xD0010024, 0xF0010024}), 0xAAA8AAA8},
           Row{"group 1: upper half not fitted", 0, 0x61FFE180, 0, rank(35, {0xD0010020, 0xF0010020}), {}, 0xA2288000},
           Row{"group 1: upper second rank not complete",
               0,
               0xE100E1FF,
               0,
               rank(35, {0xC0010024, 0xD0010024, 0xF0010024}),
               {},
               0xAA288000},
           Row{"group 1: lower second rank not complete",
               0,
               0xE180E0FF,
               0,
               rank(35, {0xC0010024, 0xE0010024, 0xD0010024}),
               {},
               0xAA888000},
           Row{"group 1: the other bit of either second rank",
               0,
               0xE080E17F,
               0,
               rank(35, {0xC0010024, 0xD0010024}),
               {},
               0xAA088000},
           Row{"group 2: lower half not fitted", 0, 0, 0xE1FF7FFF, {}, rank(37, {0xC0010060, 0xE0010060}), 0x8000A888},
           Row{"group 1: nothing fitted", 0, 0x7FFF7FFF, 0x8000007F, {}, rank(37, {0xC0010020}), 0x8000A808},
       }) {
    SCOPED_TRACE(row.what);
    file_->held = {{1, row.option}, {32, row.configuration_1}, {33, row.configuration_2}};
    file_->answers[108] = file_->answers[109] = [](macro_word, unsigned) { return 0x40U; };
    const RunResult run = run_macro({"ma_9000_0101"}, MAC);
    const bool group_1 = !row.ranks_1.empty();
    const bool group_2 = !row.ranks_2.empty();
    EXPECT_EQ(at_depth(run.calls, 0),
              (Lines{get(32), get(33), get(1)} + static_cast<int>(group_1) * Lines{calibrate}
               + static_cast<int>(group_2) * Lines{calibrate} + static_cast<int>(group_1) * Lines{poll}
               + static_cast<int>(group_2) * Lines{poll}));
    Lines ranks;
    for (const std::string &line : at_depth(run.calls, 1))
      if (line.starts_with("i2c write 23 ") || line.starts_with("i2c write 25 "))
        if (const char first = line[13]; first != '8')
          ranks.push_back(line);
    EXPECT_EQ(ranks, row.ranks_1 + row.ranks_2);
    EXPECT_EQ(run.data[0], row.verdict);
    EXPECT_EQ(run.result, 0);
  }
  // With the option the drive and delay are others; the driver adjustment goes its full way and finds no level.
  file_->held = {{1, 4}, {32, 0x80000000}, {33, 0}};
  const RunResult optional = run_macro({"ma_9000_0101"}, MAC);
  const Lines control = starting_with(at_depth(optional.calls, 1), "i2c write 23");
  EXPECT_EQ(control, (Lines{put(35, 0x80020000), put(35, 0x80030000), put(35, 0xC0010018), put(35, 0x80000742),
                            put(35, 0x80000642)}));
  EXPECT_EQ(optional.data[0], 0x24000000U);

  file_->held = {{1, 0}, {32, 0x00007FFF}, {33, 0x7FFFFFFF & ~0x8000U}};
  const RunResult none = run_macro({"ma_9000_0101"}, MAC);
  EXPECT_EQ(none.calls, (Lines{get(32), get(33), get(1)}));
  EXPECT_EQ(none.written, std::vector<std::size_t>{0});
  EXPECT_EQ(none.data[0], 0x80008000U);
  EXPECT_EQ(none.result, -1);
  EXPECT_EQ(none.status, 0U);
}

/// What a calibration of both groups comes to on a server.
struct Outcome {
  const char *what;
  std::string machine;  ///< added to the description of the default machine
  std::vector<macro_word> data;
};

RunResult calibrate_on_server(const std::string &machine) {
  const support::Server server("base = \"default\"\n" + machine);
  return run_macro({"ma_9000_0101"}, support::one_chip(scdb::ChipKind::mac, 1, 1));
}

/// A bit of a register that never comes.
std::string stuck_at_0(const char *place, macro_word bits) {
  return fmt::format("[[fault]]\nchip = \"mac:1.1\"\nplace = \"{}\"\nkind = \"stuck-0\"\nbits = {}\n", place, bits);
}

TEST(DimmServer, VerdictFollowsTheElectrics) {
  for (const Outcome &row : {
           Outcome{"healthy", "", {0xAAA8AAA8}},
           Outcome{"not adjustable", "[mac]\noption = 0\ngroup1-up-steps-p = 16", {0xAAA8AAA8}},
           Outcome{"group 2 empty", "[mac]\ngroup2-configuration = 0", {0xAAA88000}},
           Outcome{"pull-up too weak at every code", "[mac]\ngroup1-pull-up-code = 15", {0x10000000, 0xA800F000, 0}},
           Outcome{
               "pull-down too strong at every code", "[mac]\ngroup1-pull-down-code = 0", {0x10000000, 0x94000000, 0}},
           Outcome{"no upper comparator", "[mac]\ngroup1-comparators = 2", {0x10000000, 0xAA00F000, 0}},
           Outcome{"no lower comparator", "[mac]\ngroup2-comparators = 1", {0x2AA01000, 0, 0x96000000}},
           Outcome{"pull-up N weak", "[mac]\ngroup1-up-steps-n = 16", {0x24000000, 0x08410000, 0}},
           Outcome{"pull-down P weak", "[mac]\ngroup2-down-steps-p = 16", {0x2AA02400, 0, 0x04820000}},
           Outcome{"strongest steps are enough",
                   "[mac]\ngroup1-up-steps-p = 15\ngroup1-down-steps-n = 15\ngroup1-up-steps-n = 0",
                   {0xAAA8AAA8}},
           Outcome{"level slow", "[mac]\ngroup1-settling-time = 2", {0x24000000, 0x0AC10000, 0}},
           Outcome{"one rank weak",
                   "[[fault]]\nchip = \"mac:1.1\"\nplace = \"register group 1 driver strengths\"\nkind = \"stuck-0\"\n"
                   "entry = 8\nbits = 0xF",
                   {0x28400000, 0x28810000, 0}},
           Outcome{"lower DIMM weak",
                   "[[fault]]\nchip = \"mac:1.1\"\nplace = \"register group 1 driver strengths\"\nkind = \"stuck-0\"\n"
                   "entry = 4\nbits = 0xF",
                   {0x29800000, 0x18810000, 0}},
           Outcome{"last rank weak",
                   "[[fault]]\nchip = \"mac:1.1\"\nplace = \"register group 1 driver strengths\"\nkind = \"stuck-0\"\n"
                   "entry = 12\nbits = 0xF",
                   {0x2A900000, 0x38810000, 0}},
           Outcome{"comparison never valid", stuck_at_0("i2c 38", 0x4000), {0x10000000, 0xAA00F000, 0}},
           Outcome{"level never valid", stuck_at_0("i2c 34", 0x00200000), {0x24000000, 0x0AC10000, 0}},
           Outcome{"run never done", stuck_at_0("i2c 109", 0x40), {0x2AA82AA4, 0, 0x20000000}},
           Outcome{"run in time", "[mac]\ngroup1-completion-time = 10000", {0xAAA8AAA8}},
           Outcome{"run too long", "[mac]\ngroup1-completion-time = 10001", {0x2AA42AA0, 0x20000000, 0}},
           Outcome{"first error", "[mac]\ngroup2-completion-errors = 2", {0x2AA82AA4, 0, 0x80000000}},
           Outcome{"second error", "[mac]\ngroup1-completion-errors = 1", {0x2AA42AA0, 0x40000000, 0}},
           Outcome{"only this chip is sick", "[[chip]]\nchip = \"mac:0.1\"\ngroup1-up-steps-p = 16", {0xAAA8AAA8}},
       }) {
    SCOPED_TRACE(row.what);
    const RunResult run = calibrate_on_server(row.machine);
    EXPECT_EQ(run.status, 0U);
    EXPECT_EQ(run.result, 0);
    for (std::size_t i = 0; i < row.data.size(); ++i)
      EXPECT_EQ(run.data[i], row.data[i]) << "word " << i;
  }
}

TEST(DimmServer, ModeRegisterThatDoesNotHold) {
  const RunResult run =
      calibrate_on_server("[[fault]]\nchip = \"mac:1.1\"\nplace = \"i2c 36\"\nkind = \"does-not-hold\"");
  const support::UnitWords unit = support::one_chip(scdb::ChipKind::mac, 1, 1);
  EXPECT_EQ(run.err, support::refusal(SUB_THIRD, unit.number, {{ERR_CONTEXT, unit.mring[0]}}));
  EXPECT_EQ(run.status, MACRO_FAILED);
  EXPECT_EQ(run.result, -1);
}

TEST(DimmServer, LeavesTheSettingsInPlaceAndCanRunAgain) {
  const support::Server server;
  const support::UnitWords unit = support::one_chip(scdb::ChipKind::mac);
  for (int i = 0; i < 2; ++i) {
    const RunResult run = run_macro({"ma_9000_0101"}, unit);
    EXPECT_EQ(run.data[0], 0xAAA8AAA8U);
    EXPECT_FALSE(at_depth(run.calls, 3).empty());
    EXPECT_TRUE(at_depth(run.calls, 4).empty());
    EXPECT_EQ(std::ranges::count(at_depth(run.calls, 2), get(108)), 4);
    // The codes at which the comparators turned over.
    EXPECT_EQ(starting_with(at_depth(run.calls, 3), "i2c write 26").back(), put(38, 0x96080000));
    EXPECT_EQ(starting_with(at_depth(run.calls, 3), "i2c write 27").back(), put(39, 0xA5080000));
  }
}

TEST(DimmServer, ChannelsHaveTheirOwnRegisters) {
  const support::Server server;
  const RunResult run = run_macro({"ma_9040_0101", 1}, support::one_chip(scdb::ChipKind::mac));
  EXPECT_EQ(run.status, 0U);
  const std::set<macro_word> channels(run.data.begin() + 1, run.data.begin() + 13);
  EXPECT_EQ(channels.size(), 12U);
  EXPECT_EQ(run.data[0], run.data[14]);  // the same register
}

}  // namespace
}  // namespace dimm
