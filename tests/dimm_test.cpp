#include <numeric>

#include "dimm_fixture.hpp"

namespace dimm {
namespace {

TEST_F(Dimm, Parameters) {
  struct Row {
    const char *macro;
    macro_word base;  ///< accepted
    macro_word free;  ///< bits of which any one may be turned over in it; any other makes it refused
    std::vector<macro_word> accepted;
    std::vector<macro_word> refused;
  };
  for (Row row : std::initializer_list<Row>{
           {"ma_9001_0101", 0x301, 0xFFFFF8FC, {0x4502, 0xFFFF8C01}, {0x601, 0x001, 0x5301, 0x7302}},
           {"ma_9002_0101", 1, 0x2, {2}, {4}},
           {"ma_9003_0101", 1, 0, {2}, {}},
           {"ma_9004_0101", 1, 0x6, {2, 6, 7}, {4, 8}},
           {"ma_9006_0101", 1, 0x701E, {0x401F, 0x1002}, {0x10, 0x5001, 0x6001}},
           {"ma_9007_0101", 1, 0x30007010, {0x30004011, 2}, {0x10, 0x5001, 0x7001}},
           {"ma_9008_0101", 1, 0x2, {2}, {4, 7}},
           {"ma_9009_0101", 1, 0, {2}, {}},
       }) {
    row.accepted.push_back(row.base);
    for (macro_word bit = 1; bit != 0; bit <<= 1)
      ((row.free & bit) != 0 ? row.accepted : row.refused).push_back(row.base ^ bit);
    for (const macro_word para : row.accepted)
      EXPECT_FALSE(run_macro({row.macro, 2, {para}}, MAC).calls.empty()) << row.macro << " " << para;
    for (const macro_word para : row.refused) {
      SCOPED_TRACE(fmt::format("{} {:X}", row.macro, para));
      const RunResult run = run_macro({row.macro, 2, {para}}, MAC);
      EXPECT_EQ(run.calls, Lines{});
      EXPECT_EQ(run.err, support::refusal(SUB_SELECTOR, para));
      EXPECT_EQ(run.status, MACRO_FAILED);
      EXPECT_EQ(run.result, -1);
      EXPECT_TRUE(run.written.empty());
    }
  }
}

TEST_F(Dimm, ImpedanceSearch) {
  const auto compare = [](unsigned number, macro_word word) {
    return Lines{put(number, word), get(number), get(number)};
  };
  const auto down = [&](macro_word last, unsigned number = 38) {
    Lines calls;
    for (macro_word code = 15; code >= last; --code)
      calls = calls + compare(number, code << 28 | 0x780000);
    return calls;
  };
  const auto up = [&](macro_word last, unsigned number = 38) {
    Lines calls;
    for (macro_word code = 0; code <= last; ++code)
      calls = calls + compare(number, code << 24 | 0x5C0000);
    return calls;
  };
  /// Answers of the two searches, once they have settled.
  using Comparison = std::function<macro_word(macro_word)>;
  const auto settled = [](const Comparison &in_down, const Comparison &in_up) {
    return [=](macro_word held, unsigned reads) {
      const macro_word word = (held & 0x00200000) != 0 ? in_down(held) : in_up(held);
      return reads == 1 ? word ^ (HIGH | VALID) : word;
    };
  };
  const auto below = [](macro_word held) { return held | VALID; };
  const auto above = [](macro_word held) { return held | VALID | HIGH; };
  const auto at_9 = [](macro_word held) { return held | VALID | (held >> 28 <= 9 ? HIGH : 0); };
  const auto at_3 = [](macro_word held) { return held | VALID | ((held >> 24 & 0xF) < 3 ? HIGH : 0); };

  struct Row {
    const char *what;
    RegisterFile::Answer answer;
    Lines search;
    macro_word left;  ///< in the impedance register
    macro_word word;  ///< group word
    unsigned group = 1;
  };
  for (const Row &row : std::initializer_list<Row>{
           {"both turn over", turns_over(9, 3), down(9) + up(3), 0x93000000, 0},
           {"group 2", turns_over(14, 1), down(14, 39) + up(1, 39), 0xE1000000, 0, 2},
           {"group 2 not valid", [](macro_word, unsigned) { return 0xF0008000U; }, down(15, 39), 0, 0xAA00F000, 2},
           {"not valid on the way down",
            settled([](macro_word held) { return held >> 28 > 12 ? held | VALID : held & ~VALID; }, above), down(12), 0,
            0xAA00C000},
           {"high from the start", settled(above, above), down(15), 0, 0xA800F000},
           {"code reads as 0", settled([](macro_word) { return macro_word{VALID}; }, above), down(15), 0, 0xA8000000},
           {"low everywhere: only the upward search tells", settled(below, below), down(1) + up(0), 0, 0x94000000},
           {"low down to 1, then well", settled(below, at_3), down(1) + up(3), 0x03000000, 0},
           {"not valid on the way up",
            settled(at_9, [](macro_word held) { return (held >> 24 & 0xF) < 2 ? held | VALID | HIGH : held & ~VALID; }),
            down(9) + up(2), 0, 0x96000200},
           {"high up to the last but one", settled(at_9, above), down(9) + up(14), 0x9F000000, 0},
           {"code reads as 15", settled(at_9, [](macro_word) { return 0x0F00C000U; }), down(9) + up(0), 0, 0x94000F00},
       }) {
    SCOPED_TRACE(row.what);
    const unsigned number = 37 + row.group;
    file_->answers[number] = row.answer;
    const RunResult run = run_macro({"ma_9003_0101", 7, {row.group}}, MAC);
    EXPECT_EQ(run.calls, Lines{put(33 + 2 * row.group, 0)} + row.search + Lines{put(number, row.left)});
    expect_data(run,
                {row.word == 0 ? COMPLETE : FINDING, row.group == 1 ? row.word : 0, row.group == 2 ? row.word : 0});
    EXPECT_EQ(run.result, -1);
    EXPECT_EQ(run.status, 0U);
  }
}

TEST_F(Dimm, ModeRegister) {
  file_->held[34] = 0xFFFFFFFF;
  file_->held[36] = 0x12345678;
  const auto run = [](macro_word rw, macro_word para, int result) {
    RunResult done = run_macro({"ma_9004_0101", rw, {para}}, MAC);
    EXPECT_EQ(done.result, result);
    EXPECT_EQ(done.status, 0U);
    return done;
  };
  expect_data(run(1, 3, -1), {0xFFFFFFFF, 0x12345678});
  EXPECT_EQ(run(1, 1, -1).written, std::vector<std::size_t>{0});
  EXPECT_EQ(run(1, 6, -1).written, std::vector<std::size_t>{1});
  EXPECT_EQ(run(2, 3, -1).calls, (Lines{get(34), put(34, 0x2000C000), get(36), put(36, 0x20004000)}));
  EXPECT_EQ(run(2, 6, -1).calls, (Lines{get(36), put(36, 0x10004000)}));
  EXPECT_EQ(run(3, 1, 0).calls, Lines{});
}

TEST_F(Dimm, DriverAdjustment) {
  // Rank 1, delay field 1; a configuration with the upper DIMM's terminations.
  constexpr macro_word PARA = 0x10001001;
  constexpr macro_word BASE = 0x10010048;
  constexpr macro_word UP = 0xC0000080;
  constexpr macro_word DOWN = 0xC0080100;
  const auto control = [](macro_word word) { return put(35, BASE | word); };
  const std::string neutral = control(0xC0000000);
  const auto measure = [&](macro_word start) { return Lines{control(start), get(35), "wait 1", get(34)}; };
  const auto adjust = [&](macro_word steps) { return Lines{neutral, control(0xC0000200 | steps), neutral}; };
  const Lines settings{get(32), get(1)};
  const Lines weaken = Lines{get(38), put(38, 0x96080000)} + 16 * Lines{control(0xCAA00200), neutral};
  const Lines defaults{control(0xC0000380), neutral};

  struct Row {
    const char *what;
    macro_word para;
    macro_word option;
    std::vector<macro_word> levels;  ///< read from the mode register; the last one stands
    Lines calls;
    macro_word word;
    int result = -1;
  };
  for (const Row &row : std::initializer_list<Row>{
           {"bypass", PARA | 0x10, 1, {}, defaults, 0, 0},
           {"no option", PARA, 0, {}, defaults, 0, 0},
           {"P marked first, both stay marked; pull-down at once",
            PARA,
            0x80000000,
            {0xFFBFFFFF, 0x00600000, 0xFF3FFFFF},
            weaken + measure(UP) + adjust(0x00100000) + measure(UP) + Lines{neutral} + measure(DOWN) + Lines{neutral},
            0},
           {"pull-down N marked first",
            PARA,
            1,
            {0x00E00000, 0x00A00000, 0x00600000},
            weaken + measure(UP) + Lines{neutral} + measure(DOWN) + adjust(0x04000000) + measure(DOWN) + Lines{neutral},
            0},
           {"pull-up level never valid", PARA, 1, {0xFFDFFFFF}, weaken + measure(UP), 0x1AC10000},
           {"pull-up level not valid later",
            PARA,
            1,
            {0x00A00000, 0x00C00000},
            weaken + measure(UP) + adjust(0x00100000) + measure(UP),
            0x1A410000},
           {"pull-up N never", PARA, 1, {0x00A00000}, weaken + 16 * (measure(UP) + adjust(0x00100000)), 0x18410000},
           {"pull-up neither", PARA, 1, {0x00200000}, weaken + 16 * (measure(UP) + adjust(0x01100000)), 0x18C10000},
           {"pull-down level never valid",
            PARA,
            1,
            {0x00E00000, 0},
            weaken + measure(UP) + Lines{neutral} + measure(DOWN),
            0x16C20000},
           {"pull-down neither",
            PARA,
            1,
            {0x00E00000},
            weaken + measure(UP) + Lines{neutral} + 16 * (measure(DOWN) + adjust(0x04400000)),
            0x14C20000},
       }) {
    SCOPED_TRACE(row.what);
    file_->start_again();
    file_->held = {{32, 0x60004000}, {1, row.option}, {38, 0x96FFFFFF}};
    file_->answers[34] = [&row](macro_word, unsigned reads) {
      return row.levels[std::min<std::size_t>(reads, row.levels.size()) - 1];
    };
    const RunResult run = run_macro({"ma_9007_0101", 7, {row.para}}, MAC);
    const Lines end = row.result == 0 ? Lines{} : Lines{put(35, 0)};
    EXPECT_EQ(run.calls, settings + row.calls + end);
    expect_data(run, {row.word == 0 ? COMPLETE : FINDING, row.word, 0});
    EXPECT_EQ(run.result, row.result);
    EXPECT_EQ(run.status, 0U);
  }
}

TEST_F(Dimm, DelayAndTermination) {
  struct Row {
    macro_word para;
    macro_word configuration;
    macro_word word;
  };
  for (const Row &row : {Row{0x0011, 0x60006000, 0xC0010004}, Row{0x1011, 0xFFFFFFFF, 0xC001000C},
                         Row{0x2011, 0x60004000, 0xC0010050}, Row{0x2011, 0x60002000, 0xC0010050},
                         Row{0x3011, 0x40006000, 0xC0010018}, Row{0x30004011, 0x20006000, 0xF0010020}}) {
    file_->held = {{1, 1}, {32, row.configuration}};
    EXPECT_EQ(run_macro({"ma_9007_0101", 0, {row.para}}, MAC).calls[3], put(35, row.word));
  }
  file_->held = {{1, 1}, {32, 0}, {33, 0x60006000}};
  EXPECT_EQ(run_macro({"ma_9007_0101", 0, {0x20000012}}, MAC).calls,
            (Lines{get(33), get(1), put(37, 0xE0010384), put(37, 0xE0010004)}));
}

TEST_F(Dimm, CompletionPoll) {
  struct Row {
    const char *what;
    std::vector<macro_word> answers;  ///< the last one stands
    int reads;
    bool stopped;
    macro_word word;
  };
  for (const Row &row : {
           Row{"done at once", {0x40}, 1, false, 0},
           Row{"other bits do not count", {0xFFFFFFB3, 0xFFFFFFF3}, 2, false, 0},
           Row{"done in the last read", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40}, 11, false, 0},
           Row{"time-out", {0}, 11, true, 0x20000000},
           Row{"first error", {0, 0x08}, 2, false, 0x80000000},
           Row{"second error", {0x44}, 1, false, 0x40000000},
           Row{"both errors", {0x4C}, 1, false, 0xC0000000},
       })
    for (const unsigned group : {1U, 2U}) {
      SCOPED_TRACE(row.what);
      const unsigned number = 107 + group;
      file_->answers[number] = [&row](macro_word, unsigned reads) {
        return row.answers[std::min<std::size_t>(reads, row.answers.size()) - 1];
      };
      const RunResult run = run_macro({"ma_9009_0101", 0, {group}}, MAC);
      const Lines polls = row.reads * Lines{get(number), "wait 3E8"};
      const Lines stop = row.stopped ? Lines{put(number, 0x10004000)} : Lines{};
      EXPECT_EQ(run.calls, (Lines{put(number, 0x1000404C), put(number, 0x08008000)} + polls + stop));
      expect_data(run, {row.word == 0 ? COMPLETE : FINDING, group == 1 ? row.word : 0, group == 2 ? row.word : 0});
      EXPECT_EQ(run.result, -1);
      EXPECT_EQ(run.status, 0U);
    }
}

TEST_F(Dimm, ResultWordsAreClearedBeforeTheWork) {
  struct Row {
    const char *macro;
    std::size_t failing;
    std::vector<macro_word> data;
  };
  for (const Row &row : {
           Row{"ma_9003_0101", 0, {0, 0, 0}},
           Row{"ma_9007_0101", 0, {}},  // the configuration is read first
           Row{"ma_9007_0101", 1, {0, 0, 0}},
           Row{"ma_9009_0101", 0, {0, 0, 0}},
       }) {
    SCOPED_TRACE(row.macro);
    support::Recorder recorder(MAC);
    recorder.fail_call(row.failing);
    expect_data(run_macro({row.macro, 0, {1}}, MAC, recorder), row.data);
  }
}

TEST_F(Dimm, BothGroupsInTurn) {
  // Without the option the driver adjustment is bypassed: two calls tell its parameter.
  file_->held = {{1, 0}, {32, 0}, {33, 0}};
  const auto bypassed = [](unsigned number, macro_word word) {
    return Lines{put(number, word | 0xC0000380), put(number, word | 0xC0000000)};
  };
  const auto writes = [](macro_word para) {
    const RunResult run = run_macro({"ma_9006_0101", 7, {para}}, MAC);
    EXPECT_EQ(run.result, 0);
    return starting_with(at_depth(run.calls, 1), "i2c write");
  };
  EXPECT_EQ(writes(1), bypassed(35, 0x00010000));
  // Nor is there one with the bypass flag handed on.
  file_->held[1] = 1;
  EXPECT_EQ(writes(0x11), bypassed(35, 0x00010000));
  file_->held[1] = 0;
  EXPECT_EQ(writes(0x100E), bypassed(37, 0x30010008));
  EXPECT_EQ(writes(0x4017), bypassed(35, 0x10010020) + bypassed(37, 0x10010020));

  // The others hand on the group alone; a finding in group 1 ends them.
  file_->answers[108] = file_->answers[109] = [](macro_word, unsigned) { return 0x40U; };
  struct Row {
    const char *macro;
    macro_word para;
    Lines calls;
    Lines nested;  ///< the writes that tell the group
    macro_word status = 0;
  };
  const auto run_row = [](const Row &row) {
    SCOPED_TRACE(row.macro);
    RunResult run = run_macro({row.macro, 7, {row.para}, {}, 64, row.status}, MAC);
    EXPECT_EQ(at_depth(run.calls, 0), row.calls);
    Lines tell;
    for (const std::string &line : at_depth(run.calls, 1))
      if (line.ends_with(" 0") || line.ends_with("1000404C"))
        tell.push_back(line);
    EXPECT_EQ(tell, row.nested);
    EXPECT_EQ(run.result, static_cast<int>(row.status));
    return run;
  };
  const std::string search = "call FFFFFFFF 9003";
  const std::string poll = "call FFFFFFFF 9009";
  for (const Row &row : {
           Row{"ma_9002_0101", 1, {search}, {put(35, 0)}},
           Row{"ma_9002_0101", 2, {search}, {put(37, 0)}},
           Row{"ma_9002_0101", 3, {search, search}, {put(35, 0), put(37, 0)}},
           Row{"ma_9008_0101", 2, {poll}, {put(109, 0x1000404C)}},
           Row{"ma_9008_0101", 3, {poll, poll}, {put(108, 0x1000404C), put(109, 0x1000404C)}},
           // A status that the caller left behind comes back as it stands, after the first call.
           Row{"ma_9008_0101", 3, {poll}, {put(108, 0x1000404C)}, 5},
       })
    expect_data(run_row(row), {COMPLETE, 0, 0});
  file_->answers[108] = [](macro_word, unsigned) { return 0x08U; };
  expect_data(run_row({"ma_9008_0101", 3, {poll}, {put(108, 0x1000404C)}}), {FINDING, 0x80000000, 0});
}

TEST_F(Dimm, ControllerDump) {
  const Lines expected{"i2c read 10",        "i2c read 6 port 10", "i2c read 6 port 20", "i2c read 6 port 40",
                       "i2c read 6 port 80", "i2c read 7 port 10", "i2c read 7 port 20", "i2c read 7 port 40",
                       "i2c read 7 port 80", "i2c read 4 port 10", "i2c read 4 port 20", "i2c read 4 port 40",
                       "i2c read 4 port 80", "i2c read 18",        "i2c read 10",        "i2c read 19",
                       "i2c read 12",        "i2c read 1A",        "i2c read 20",        "i2c read 1B",
                       "i2c read 21",        "i2c read 5B",        "i2c read 80"};
  macro_word next = 0x1000;
  for (unsigned number = 0; number < 256; ++number)
    file_->answers[number] = [&next](macro_word, unsigned) { return next++; };
  const RunResult run = run_macro({"ma_9040_0101", 1}, MAC);
  EXPECT_EQ(run.calls, expected);
  std::vector<macro_word> in_order(expected.size());
  std::iota(in_order.begin(), in_order.end(), 0x1000);
  expect_data(run, in_order);
  EXPECT_EQ(run.result, -1);
  for (const macro_word rw : {0U, 2U, MACRO_ALL}) {
    const RunResult idle = run_macro({"ma_9040_0101", rw}, MAC);
    EXPECT_EQ(idle.calls, Lines{});
    EXPECT_EQ(idle.result, 0);
    EXPECT_EQ(idle.status, 0U);
  }
}

TEST_F(Dimm, SelectiveDump) {
  struct Group {
    unsigned bit;  ///< 0 = most significant
    std::vector<unsigned> registers;
    std::size_t place;
    bool common;
  };
  const std::vector<unsigned> common{192, 193, 195, 196, 198, 199, 200, 201, 202, 203,
                                     204, 205, 206, 207, 208, 209, 210, 224, 225, 226};
  for (unsigned number = 90; number <= 226; ++number)
    file_->answers[number] = [number](macro_word, unsigned) { return number; };
  const auto check = [&](macro_word para, std::map<std::size_t, unsigned> places) {
    SCOPED_TRACE(fmt::format("{:08X}", para));
    const RunResult run = run_macro({"ma_9067_0101", 7, {para}, {}, 72}, MAC);
    Lines calls;
    for (std::size_t i = 0; i < 72; ++i)
      if (places.contains(i)) {
        calls.push_back(get(places[i]));
        EXPECT_EQ(run.data[i], places[i]) << "word " << i;
      }
    EXPECT_EQ(run.calls, calls);
    EXPECT_EQ(run.written.size(), places.size());
    EXPECT_EQ(run.status, 0U);
  };
  std::map<std::size_t, unsigned> all;
  for (const Group &group : std::initializer_list<Group>{
           {2, {158, 140}, 0, false},
           {3, {159, 142}, 2, false},
           {5, {90}, 4, false},
           {6, {117, 118}, 5, false},
           {7, {125, 127}, 7, false},
           {8, {144, 145, 146, 147, 148}, 9, true},
           {9, {150, 151}, 14, true},
           {10, {152, 153, 154, 155}, 16, true},
           {12, {160, 161, 162, 163, 164, 165, 166, 167, 168, 169}, 20, true},
           {13, {170, 171}, 30, true},
           {14, {172, 173, 174, 175}, 32, true},
           {16, {176, 177, 178, 179, 180, 181, 182, 183, 184, 185}, 36, true},
           {17, {186, 187}, 46, true},
           {18, {188, 189, 190, 191}, 48, true},
       }) {
    std::map<std::size_t, unsigned> places;
    for (std::size_t i = 0; i < group.registers.size(); ++i)
      places[group.place + i] = group.registers[i];
    for (std::size_t i = 0; group.common && i < common.size(); ++i)
      places[52 + i] = common[i];
    check(0x80000000U >> group.bit, places);
    all.insert(places.begin(), places.end());
  }
  check(0xFFFFFFFF, all);
  check(0xC8111FFF, {});  // bits that select nothing
}

}  // namespace
}  // namespace dimm
