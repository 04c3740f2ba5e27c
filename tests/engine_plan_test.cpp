// Plans: mistakes in files, runs that are interrupted and go on from a checkpoint, and what reports make of texts.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "engine/plan/checkpoint.hpp"
#include "engine/plan/engine.hpp"
#include "engine/plan/plan.hpp"
#include "engine/report/plan_reporters.hpp"
#include "engine/run/bench.hpp"
#include "engine/text/error.hpp"
#include "support/folder.hpp"
#include "support/support.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

class Plans : public testing::Test {
 protected:
  Plans() { bench_.open(); }

  [[nodiscard]] Plan plan_of(const std::string &text, const std::string &name = "test") {
    return read_plan({name, name + ".toml", text}, bench_.catalogue(), bench_.chips());
  }
  PlanEnd run(const Plan &plan, std::vector<PlanReporter *> reporters, Checkpoint *checkpoint = nullptr,
              const StopSource *stop = nullptr) {
    StopToken token{stop};
    return PlanEngine{bench_, plan, std::move(reporters), checkpoint}.run({"test", "1.0", "test plan"}, token);
  }
  [[nodiscard]] Checkpoint checkpoint_of(const Plan &plan) { return {folder_.path("kept"), plan, bench_}; }

  support::Folder folder_;
  Bench bench_{BenchSource{{}, {}, {MACRO_LIBRARY}, {}}};
};

const std::string HEAD = "title = \"Test\"\ncontinue = true\n";
const std::string STEP = "[[step]]\nmacro = \"9A12\"\nunits = \"cpu:0.0\"\n";

TEST_F(Plans, SayWhereAMistakeIs) {
  struct Row {
    std::string text;
    std::string complaint;
  };
  const std::string fields = "fields = {group = 1, index = 0}\n";
  const std::string many =
      "[[step]]\nmacro = \"9ACC\"\nunits = \"cpu:0.0\"\nfields = {data-low = 0}\nfor = {data-high = \"0-60000\"}\n";
  const std::vector<Row> rows{
      {"", "1:1: 'step' is missing; a plan has [[step]] tables"},
      {"stop = true\n" + STEP, "3:1: unknown key 'stop'; accepted here: title, text, continue, timeout, step, cleanup"},
      {"[[step]\n", "3:8: Error while parsing table header: expected ']', saw '\\n'"},
      {"[=]\n", "3:2: Error while parsing key: expected bare key starting character or string delimiter, saw '='"},
      {"\u00E9 = 1\n",
       "3:1: Error while parsing root table: expected keys, tables, whitespace or comments, saw '\u00E9'"},
      {"[[step]]\nunits = \"cpu\"\n", "3:1: 'macro' is missing"},
      // Texts that look like options of a program are told as they are.
      {"[[step]]\nmacro = \"--para\"\nunits = \"cpu\"\n",
       "4:9: there is no macro '--para'; the list of macros shows those there are"},
      {STEP + "para = [8]\nrw = \"--data\"\n",
       "7:6: 'rw': '--data' is no direction; give read (1), write (2), none (-1) or a number"},
      {STEP + "fields = {group = \"--para\"}\n",
       "6:10: group=--para: accepted are bytes (0), 1, 2; 'para' gives other words to the macro"},
      {"[[step]]\nmacro = [\"9A10\", \"9A1O\"]\nunits = \"cpu\"\n",
       "4:9: there is no macro '9A1O'; the nearest: cp_9A10_0101, cp_9A11_0101, cp_9A12_0101"},
      {STEP, "4:9: cp_9A12_0101 needs group=VALUE, group of eight registers; accepted are bytes (0), 1, 2"},
      {STEP + "rw = \"write\"\npara = [8]\n",
       "6:6: cp_9A12_0101 reads 1 word of _DATA with direction write, and none is given; give it with 'data', or "
       "value="},
      {STEP + "fields = {group = 1, index = 8}\n",
       "6:10: index=8: accepted are 0 to 7; 'para' gives other words to the macro"},
      {STEP + "fields = {group = 1, index = 0}\npara = [1]\n",
       "6:10: 'group' and 'para' both give _PARA[0]; give one of them"},
      {STEP + "fields = {group = 1.5}\n", "6:19: 'group' must be a number, or a text in quotation marks"},
      {STEP + "fields = {group = 0x100000000}\n",
       "6:19: 'group' must be a whole number from -2147483648 to 4294967295"},
      {STEP + "para = [8, \"x\"]\n",
       "6:12: 'para': 'x' is not a 32-bit word; give a decimal or 0x number from "
       "-2147483648 to 0xFFFFFFFF"},
      {STEP + "fields = {group = 1}\nfor = {index = \"0-8\"}\n",
       "7:7: index=8: accepted are 0 to 7; 'para' gives other words to the macro"},
      {STEP + "fields = {group = 1}\nfor = {index = \"0..8\"}\n",
       "7:16: index: '0..8' is not a 32-bit word; give a decimal or 0x number from -2147483648 to 0xFFFFFFFF"},
      {STEP + "fields = {group = 1}\nfor = {index = \"3-1\"}\n",
       "7:16: 'index' is '3-1'; write numbers such as \"0-31\" or \"0,2-3\", or a list of values"},
      {STEP + fields + "expect = {val = 3}\n", "7:17: cp_9A12_0101 has no result 'val'; it has value"},
      {STEP + fields + "expect = {value = \"0x100000000\"}\n", "7:19: 'value' is never 0x100000000; it has 32 bits"},
      {STEP + fields + "expect = {value = 0x100000000}\n", "7:19: 'value' is never 0x100000000; it has 32 bits"},
      {STEP + fields + "expect = {value = \"set\"}\n", "7:19: 'value' is never set; it has 32 bits"},
      {STEP + fields + "expect = {}\n", "7:10: 'expect' must name one result at the least"},
      {STEP + fields + "expect = []\n", "7:10: 'expect' must be a list with one element at the least"},
      {STEP + fields + "mask = [1]\n", "7:8: there is nothing to compare; give 'expect' too"},
      {STEP + fields + "expect = {value = 1}\nmask = [1]\n",
       "8:8: 'mask' belongs to words; results that are expected by name have none"},
      {STEP + "para = [8]\nexpect = [1, 2, 3]\nmask = [1, 2]\n",
       "7:10: 'mask': 2 masks are given for 3 words; give one for all, or one for each"},
      // More runs than there is memory for: in one list, and step by step.
      {STEP + "for = {index = \"0-99999,0\"}\n", "6:7: 'for' comes to more than 100000 runs"},
      {STEP + "for = {group = \"0-65535\", index = \"0-65535\"}\n", "6:7: 'for' comes to more than 100000 runs"},
      {STEP + "for = {index = \"0-60000,0-60000\"}\n",
       "6:16: 'index' is '0-60000,0-60000'; a plan has up to 100000 runs"},
      {STEP + "for = {index = \"0-0xFFFFFFFF\"}\n", "6:16: 'index' is '0-0xFFFFFFFF'; a plan has up to 100000 runs"},
      {many + many, "9:9: the plan comes to more than 100000 runs"},
      {STEP + "para = [8]\nverdict = \"good\"\n", "7:11: 'verdict' must be one of pass, finding, failure"},
      {STEP + "para = [8]\nopen-rings = \"leave\"\n", "7:14: 'open-rings' must be one of restore, keep"},
      {STEP + "para = [8]\nrepeat = 0\n", "7:10: 'repeat' must be a whole number from 1 to 1000000"},
      {STEP + "para = [8]\ntimeout = 0\n", "7:11: 'timeout' must be seconds, from 0.001 to 604800"},
      {STEP + "para = [8]\ntimeout = nan\n", "7:11: 'timeout' must be seconds, from 0.001 to 604800"},
      {"[[step]]\nmacro = \"9A12\"\nunits = \"cpu:5.0\"\npara = [8]\n",
       "5:9: unit 'cpu:5.0': this machine has no such cpu; it has cpu:0-1.0-1"},
      {STEP + "para = [8]\n[[cleanup]]\nmacro = \"9A10\"\nunits = \"gpu\"\n",
       "9:9: unit 'gpu': 'gpu' is no kind of unit; the kinds are cpu, mac, sc, xb, ioc, sp (for example cpu:0.1, "
       "sc:0,2-3.*)"},
  };
  for (const Row &row : rows)
    try {
      static_cast<void>(plan_of(HEAD + row.text));
      ADD_FAILURE() << row.text;
    } catch (const InputError &error) {
      EXPECT_EQ(std::string{error.what()}, "test.toml:" + row.complaint) << row.text;
    }
}

TEST_F(Plans, ComeToTheRunsThatTheySay) {
  const Plan plan = plan_of("title = \"T\"\ntimeout = 2\n" + STEP
                            + "fields = {value = \"0x12\"}\nrw = \"write\"\nfor = {index = \"0,6-7\", group = [2, "
                              "\"bytes\"]}\ntimeout = 0.5\n[[step]]\nmacro = [\"9A10\", \"9A11\"]\nunits = [\"sc\", "
                              "\"cpu:1\"]\nopen-rings = \"keep\"\n[[cleanup]]\nmacro = \"9A10\"\nunits = \"cpu\"\ntogether = true\n");
  std::string told;
  for (const PlanStep &step : plan.steps) {
    told += fmt::format("{} {} {} ms{}{}:", step.macro, step.cases(), step.timeout.count(),
                        step.cleanup ? " cleanup" : "", step.rings == OpenRings::keep ? " keep" : "");
    for (const PlanVariant &variant : step.variants)
      told += fmt::format(" [{}{}{}]", variant.values, variant.request.para.empty() ? "" : " ",
                          fmt::join(variant.request.para, ","));
    told += "\n";
  }
  // The first field that is gone through changes slowest.
  EXPECT_EQ(told,
            "cp_9A12_0101 6 500 ms: [index=0 group=2 16] [index=0 group=bytes 0] [index=6 group=2 22] [index=6 "
            "group=bytes 6] [index=7 group=2 23] [index=7 group=bytes 7]\n"
            "cp_9A10_0101 and 1 more 12 2000 ms keep: [cp_9A10_0101] [cp_9A11_0101]\n"
            "cp_9A10_0101 1 2000 ms cleanup: []\n");
}

/// Asks for a stop when it has heard of so many runs.
class Stopper : public PlanReporter {
 public:
  Stopper(StopSource &source, std::size_t runs) : source_{source}, runs_{runs} {}
  void add(const PlanStep & /*step*/, const PlanVariant & /*variant*/, const CaseResult & /*result*/) override {
    if (++heard_ == runs_)
      source_.ask("the test");
  }

 private:
  StopSource &source_;
  std::size_t runs_;
  std::size_t heard_ = 0;
};

const std::string LONG = HEAD
                         + "[[step]]\nname = \"write\"\nmacro = \"9A12\"\nunits = \"cpu\"\nrw = \"write\"\nfields = {value = "
                           "0x12345, group = 1}\nfor = {index = \"0-1\"}\n"
                           "[[step]]\nname = \"read\"\nmacro = \"9A12\"\nunits = \"cpu\"\nrepeat = 2\nfields = {group = "
                           "1}\nfor = {index = \"0-2\"}\nexpect = {value = 0x12345}\n"
                           "[[cleanup]]\nname = \"again\"\nmacro = \"9A12\"\nunits = \"cpu:0.0\"\nfields = {group = 1, "
                           "index = 0}\nexpect = [0x12345]\n";

TEST_F(Plans, GoOnFromACheckpoint) {
  const Plan plan = plan_of(LONG);
  std::string whole;
  const auto text_reporter = [](std::string &text) {
    return make_text_reporter([&text](std::string_view piece) { text += piece; }, true);
  };
  const std::string power_on = *bench_.machine().save_state();
  EXPECT_EQ(run(plan, {text_reporter(whole).get()}).passed, 17);
  const std::string afterwards = *bench_.machine().save_state();
  for (const std::size_t runs : {1U, 8U, 20U}) {
    bench_.machine().load_state(power_on);
    StopSource source;
    Stopper stopper{source, runs};
    Checkpoint first = checkpoint_of(plan);
    first.begin();
    const PlanEnd end = run(plan, {&stopper}, &first, &source);
    EXPECT_EQ(end.interrupted, runs < 20);
    EXPECT_EQ(end.made, runs + 1) << "with what cleans up";
    // The machine is as the interruption left it, whatever has been done to it since.
    bench_.machine().load_state(power_on);
    Checkpoint second = checkpoint_of(plan);
    second.load();
    ASSERT_EQ(second.results().size(), runs < 20 ? runs : 21);
    std::string again;
    EXPECT_EQ(run(plan, {text_reporter(again).get()}, &second).passed, 17);
    EXPECT_EQ(again, whole);
    EXPECT_EQ(*bench_.machine().save_state(), afterwards);
    for (std::size_t i = 0; i < first.results().size(); ++i)
      EXPECT_EQ(json_of(second.results()[i]), json_of(first.results()[i]));
  }
}

/// A checkpoint that was changed, with the digest of what it holds now.
std::string with_digest(const std::string &checkpoint) {
  const std::size_t begin = checkpoint.find('\n') + 1;
  std::uint64_t digest = 0xCBF29CE484222325;
  for (const char c : checkpoint.substr(begin))
    digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return fmt::format("{}{:016X}\n{}", checkpoint.substr(0, begin - 17), digest, checkpoint.substr(begin));
}

TEST_F(Plans, RefuseACheckpointThatIsDamagedOrOfSomethingElse) {
  const Plan plan = plan_of(LONG);
  Checkpoint checkpoint = checkpoint_of(plan);
  run(plan, {}, &checkpoint);
  const std::string good = folder_.read("kept");
  const auto said = [&](const std::string &text, const Plan &of) -> std::string {
    folder_.write("kept", text);
    Checkpoint kept{folder_.path("kept"), of, bench_};
    try {
      kept.load();
      return "it is accepted";
    } catch (const InputError &error) {
      const std::string begin = fmt::format("checkpoint: '{}' ", folder_.path("kept"));
      EXPECT_TRUE(std::string{error.what()}.starts_with(begin));
      return std::string{error.what()}.substr(begin.size());
    }
  };
  EXPECT_EQ(said(good, plan), "it is accepted");
  const std::size_t heading = good.find_first_of("0123456789ABCDEF", good.find("2 ") + 2);
  for (std::size_t i = 0; i < good.size(); i += i < 50 ? 1 : 101) {
    std::string bad = good;
    bad[i] = static_cast<char>(bad[i] ^ 1);
    ASSERT_EQ(said(bad, plan), i < heading ? "is no checkpoint of a plan" : "is damaged") << i;
    ASSERT_EQ(said(good.substr(0, i), plan), i < heading ? "is no checkpoint of a plan" : "is damaged") << i;
  }
  EXPECT_EQ(said(good + "{}\n", plan), "is damaged");
  EXPECT_EQ(said(good, plan_of(LONG + "\n")),
            "is of another plan, 'test', or of another version of this one; begin again without resuming");
  EXPECT_EQ(said(good, plan_of(LONG, "other")),
            "is of another plan, 'test', or of another version of this one; begin again without resuming");
  std::string other = good;
  for (std::size_t at = 0; (at = other.find("two-board server", at)) != std::string::npos; ++at)
    other[at] = 'T';
  EXPECT_EQ(said(with_digest(other), plan), "is of another machine, Two-board server");
}

TEST_F(Plans, KeepResultsOfEveryKind) {
  CaseResult result;
  result.unit = "cpu:0.1";
  result.values = "index=3 \"\\\n\x01";
  result.failures = {"one", "two"};
  result.findings = {""};
  result.mismatches = {"\xC3\xA9"};
  result.notes = {"rings kept open"};
  result.measured = {{"a", UINT64_MAX, "0xFF", {}},
                     {"b", {}, "not written", MeasuredValue::Expected{{}, "set", false}},
                     {"c", 0, "0", MeasuredValue::Expected{0, "0", true}}};
  result.place = "xb:0.0";
  result.runs = 5;
  result.calls = 4000000000;
  result.begin = now();
  result.end = result.begin + std::chrono::microseconds{1};
  for (const Conclusion conclusion : {Conclusion::passed, Conclusion::failed, Conclusion::error, Conclusion::stopped})
    for (const Verdict verdict :
         {Verdict::pass, Verdict::finding, Verdict::failure, Verdict::error, Verdict::stopped}) {
      result.conclusion = conclusion;
      result.verdict = verdict;
      const Json json = json_of(result);
      EXPECT_EQ(json_of(case_of(Json::parse(json.dump()))), json);
      EXPECT_EQ(case_of(json).measured.at(1).expected->text, "set");
      EXPECT_EQ(case_of(json).verdict, verdict);
    }
}

// Reports.

/// Hears how often it is told of something.
class Counter : public PlanReporter {
 public:
  std::size_t runs = 0;
  std::size_t ends = 0;
  void add(const PlanStep & /*step*/, const PlanVariant & /*variant*/, const CaseResult & /*result*/) override {
    ++runs;
  }
  void end(const PlanEnd & /*end*/) override { ++ends; }
};

TEST_F(Plans, EndWhereResultsCannotBeWritten) {
  const Plan plan = plan_of(LONG);
  struct Row {
    std::size_t pieces;  ///< that can be written
    std::size_t runs;    ///< of steps until then; what cleans up makes one more
    std::string failure;
  };
  for (const Row &row :
       std::vector<Row>{{0, 0, "it is full"}, {2, 1, "it is full"}, {4, 3, "it is full"}, {100, 20, ""}}) {
    for (const bool text : {false, true}) {
      std::size_t written = 0;
      const Sink sink = [&](std::string_view /*piece*/) {
        if (++written > row.pieces)
          throw InputError("it is full");
      };
      const std::unique_ptr<PlanReporter> reporter = text ? make_text_reporter(sink, true) : make_json_reporter(sink);
      Counter counter;
      const PlanEnd end = run(plan, {reporter.get(), &counter});
      EXPECT_EQ(end.failure ? end.failure->what() : "", row.failure);
      EXPECT_EQ(counter.ends, 1);
      // The text is written step by step, and the other run by run.
      if (!text) {
        EXPECT_EQ(counter.runs, row.runs + 1) << row.pieces;
      }
      EXPECT_LE(written, row.pieces + 1) << "it is told no more";
    }
  }
  const std::unique_ptr<PlanReporter> junit = make_junit_reporter("/no/such/file");
  const std::unique_ptr<PlanReporter> ocptv = make_ocptv_reporter(folder_.path("results"));
  const PlanEnd end = run(plan, {junit.get(), ocptv.get()});
  EXPECT_EQ(std::string{end.failure.value().what()},
            "JUnit file: cannot write '/no/such/file': No such file or directory");
  EXPECT_EQ(Json::parse(folder_.read("results").substr(folder_.read("results").rfind(
                '\n', folder_.read("results").size() - 2)))["testRunArtifact"]["testRunEnd"]["result"],
            "FAIL");
}

/// What reports make of one text wherever texts of others can be.
struct Told {
  std::string junit;
  std::vector<Json> ocptv;
};
Told told(const support::Folder &folder, Plan plan, const std::string &text) {
  plan.name = plan.title = text;
  PlanStep &step = plan.steps.at(0);
  step.name = text;
  CaseResult result;
  result.unit = "cpu:0.0";
  result.values = result.place = text;
  result.conclusion = Conclusion::failed;
  result.verdict = Verdict::failure;
  result.failures = {text};
  result.measured = {{text, 1, text, {}}};
  const std::unique_ptr<PlanReporter> junit = make_junit_reporter(folder.path("junit"));
  const std::unique_ptr<PlanReporter> ocptv = make_ocptv_reporter(folder.path("ocptv"));
  for (PlanReporter *const reporter : {junit.get(), ocptv.get()}) {
    reporter->begin({plan, {text, true}, {}, {text, text, text}, {}});
    reporter->begin_step({step, 0, {}});
    reporter->add(step, step.variants.at(0), result);
    reporter->end_step({step, 0, Conclusion::failed, text, 1, 0, {}});
    reporter->end({Conclusion::failed, false, {text}, 1, 0, 2, 0, {}, {}});
  }
  Told all{folder.read("junit"), {}};
  const std::string lines = folder.read("ocptv");
  for (std::size_t at = 0; at < lines.size(); at = lines.find('\n', at) + 1)
    all.ocptv.push_back(Json::parse(lines.substr(at, lines.find('\n', at) - at)));
  return all;
}

TEST_F(Plans, EscapeWhatReportsCannotHold) {
  struct Row {
    std::string text;
    std::string attribute;  ///< in XML
    std::string element;
    std::string json;
  };
  const std::string none = "\xEF\xBF\xBD";
  const std::vector<Row> rows{
      {"<&>\"'", "&lt;&amp;&gt;&quot;'", "&lt;&amp;&gt;&quot;'", "<&>\"'"},
      {"]]>", "]]&gt;", "]]&gt;", "]]>"},
      {"a\nb\r\tc", "a&#10;b&#13;&#9;c", "a\nb\r\tc", "a\nb\r\tc"},
      {"\x01\x1F\x7F", none + none + "\x7F", none + none + "\x7F", "\x01\x1F\x7F"},
      {std::string{"a\0b", 3}, "a" + none + "b", "a" + none + "b", std::string{"a\0b", 3}},
      {"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x9A\x80", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x9A\x80",
       "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x9A\x80", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x9A\x80"},
      // No UTF-8: a lone byte, one that is cut, one longer than need be.
      {"a\xFF", "a" + none, "a" + none, "a" + none},
      {"a\xC3", "a" + none, "a" + none, "a" + none},
      {"\xC3(", none + "(", none + "(", none + "("},
      {"\xC0\xAF", none + none, none + none, none + none},
      {"\\ {} %s", "\\ {} %s", "\\ {} %s", "\\ {} %s"},
  };
  const Plan plan = plan_of(HEAD + STEP + "para = [8]\n");
  for (const Row &row : rows) {
    const Told all = told(folder_, plan, row.text);
    const std::string &a = row.attribute;
    for (const std::string &piece :
         {fmt::format("<testsuites name=\"{}\" ", a), fmt::format("<testsuite name=\"{}\" ", a),
          fmt::format("classname=\"{}.cp_9A12_0101\" name=\"cpu:0.0 {}\" ", a, a),
          fmt::format("<property name=\"machine\" value=\"{}\"/>", a), fmt::format("<skipped message=\"{}\"/>", a),
          fmt::format("message=\"failure instead of pass\">failure: {}\n</failure>", row.element)})
      EXPECT_NE(all.junit.find(piece), std::string::npos) << piece << "\n" << all.junit;
    const auto at = [&](std::size_t line, const std::string &pointer) {
      return all.ocptv.at(line).at(Json::json_pointer{pointer});
    };
    const std::string run = "/testRunArtifact/testRunStart/";
    EXPECT_EQ(at(1, run + "name"), row.json);
    EXPECT_EQ(at(1, run + "commandLine"), row.json);
    EXPECT_EQ(at(1, run + "dutInfo/name"), row.json);
    EXPECT_EQ(at(2, "/testStepArtifact/testStepStart/name"), row.json);
    EXPECT_EQ(at(3, "/testStepArtifact/measurement/name"), fmt::format("{0} [{0}]", row.json));
    EXPECT_EQ(at(4, "/testStepArtifact/diagnosis/message"), fmt::format("cpu:0.0 {0}: {0}", row.json));
  }
}

}  // namespace
}  // namespace engine
