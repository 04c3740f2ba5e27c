#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/command/completion.hpp"

namespace {

using Lines = std::vector<std::string>;

/// What a line can go on with, a finished word with a blank at its end.
Lines ways_on(const std::string &line, const std::string &breaks = {}) {
  Lines ways;
  std::istringstream text{host::lines_for_shell(host::complete_line(line), line, breaks)};
  for (std::string way; std::getline(text, way);)
    ways.push_back(way);
  return ways;
}

struct Row {
  std::string line;
  Lines ways;
};

/// In a folder with files of its own.
class Completion : public testing::Test {
 public:
  Completion(const Completion &) = delete;
  Completion &operator=(const Completion &) = delete;

 protected:
  Completion() {
    std::filesystem::create_directories(folder_ / "plans");
    for (const char *const name : {"bench.state", "kept words.txt", ".hidden", "plans/up.toml"})
      std::ofstream{folder_ / name};
    std::filesystem::current_path(folder_);
  }
  ~Completion() override {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(folder_);
  }

  static void check(const std::vector<Row> &rows) {
    for (const Row &row : rows)
      EXPECT_EQ(ways_on(row.line), row.ways) << row.line;
  }

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
  std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("completion_test." + std::to_string(getpid()));
};

Lines two_digits(const std::string &before, const std::string &last) {
  Lines words;
  for (const char digit : last)
    words.push_back(before + digit + " ");
  return words;
}

TEST_F(Completion, CommandsAndOptions) {
  check({
      {"ri", {"ring "}},
      {"mcrhost ring s", {"show ", "set ", "save "}},
      {"re", {"reference "}},
      {"comp", {}},
      {"manual sh", {"show ", "shell "}},
      {"ring show --tr", {"--trace "}},
      {"ring bogus ", {}},
      // Options that are not given yet, and those that can be given again.
      {"units --", {"--help ", "--machine ", "--json "}},
      {"list --json --library x --l", {"--library "}},
      {"list --library=x --json --j", {}},
      {"run cp_9A12_0101 -- --", {}},
      {"list # comment ", {}},
  });
}

TEST_F(Completion, Choices) {
  check({
      {"i2c read 4 --mode ", {"2 ", "3 "}},
      {"mbc read 4 --length=", {"--length=1 ", "--length=2 ", "--length=4 "}},
      {"run 9A10 --progress j", {"json "}},
      {"list --unit-kind s", {"sc ", "sp "}},
      {"list --unit-kind sc,s", {"sc,sp "}},
      {"reference cpu-a", {"cpu-arrays "}},
      // A number has no ways to go on; where nothing else is known, options are.
      {"run 9A10 --repeat ", {}},
      {"plan list ", {"--help "}},
  });
}

TEST_F(Completion, Macros) {
  check({
      // By name, and by the number that only one has.
      {"show cp_9A12", {"cp_9A12_0101 "}},
      {"run 9A12", {"9A12 "}},
      {"run --unit cpu cp_9A12", {"cp_9A12_0101 "}},
      {"run cp_9A12_0101 --library /no/such/file g", {}},
      {"run cp_9A12_0101 --rw ", {"read ", "write "}},
      {"run cp_9A12_0101 ", {"group=", "index=", "value="}},
      {"run cp_9A12_0101 --unit cpu:0.0 group=1 --rw read ", {"index="}},
      {"run --rw write cp_9A12_0101 group=1 index=2 ", {"value="}},
      {"run cp_9AEC_0101 core=", {"core=go ", "core=held "}},
      {"run cp_9AF1_0101 domains=", {"domains=a", "domains=b", "domains=all ", "domains=none "}},
      {"run cp_9AF1_0101 domains=a+", {"domains=a+b"}},
  });
}

TEST_F(Completion, UnitsAndRings) {
  Lines boards;
  for (const char *const board : {"1.0 ", "1.1 ", "1.2 ", "1.3 ", "10", "11", "12", "13", "14", "15"})
    boards.push_back(std::string{"cpu:"} + board);
  check({
      {"units ", {"cpu:", "mac:", "sc:", "xb:", "ioc:", "sp:"}},
      {"units --machine large cpu:1", boards},
      {"units --machine no-such-machine cpu:", {}},
      {"run 9A10 --unit cpu:", {"cpu:0", "cpu:1"}},
      {"run 9A10 --unit=cpu:0.", {"--unit=cpu:0.0 ", "--unit=cpu:0.1 "}},
      {"run 9A10 --unit cpu:0,1.0,", {"cpu:0,1.0,0 ", "cpu:0,1.0,1 "}},
      {"run 9A10 --unit cpu:0.0+", {"cpu:0.0+0", "cpu:0.0+1"}},
      {"run 9A10 --unit cpu:*.", {"cpu:*.0 ", "cpu:*.1 "}},
      {"run 9A10 --unit gpu:", {}},
      // Rings of the unit, where one is given before.
      {"ring show 0x5", {"0x56 ", "0x5C "}},
      {"ring show --unit sc 0x9", two_digits("0x9", "0123456789F")},
  });
}

TEST_F(Completion, FilesAndWhatIsBuiltIn) {
  check({
      {"run 9A10 --state ", {"bench.state ", "kept\\ words.txt ", "plans/"}},
      {"run 9A10 --state .", {".hidden "}},
      {"run 9A10 --expect kept", {"kept\\ words.txt "}},
      {"run 9A10 --expect 'kept w", {"'kept words.txt' "}},
      {"run 9A10 --trace=pl", {"--trace=plans/"}},
      {"ring restore 0x56 plans/", {"plans/up.toml "}},
      {"run 9A10 --catalogue ", {"plans/"}},
      {"list --machine d", {"dead-chip ", "default "}},
      {"plan run b", {"bring-up ", "bench.state "}},
      {"plan show ./pl", {"./plans/"}},
  });
}

TEST_F(Completion, OfAShellThatBreaksWords) {
  EXPECT_EQ(ways_on("mcrhost run 9A10 --unit cpu:0.", ":="), (Lines{"0.0 ", "0.1 "}));
  EXPECT_EQ(ways_on("mcrhost run cp_9AEC_0101 core=h", ":="), (Lines{"held "}));
  EXPECT_EQ(ways_on("mcrhost run 9A10 --unit cpu:0.", ":=."), (Lines{"0 ", "1 "}));
}

TEST(Candidates, CommonBeginning) {
  EXPECT_EQ(host::common_beginning({}), "");
  EXPECT_EQ(host::common_beginning({{"cpu:0"}, {"cpu:1"}}), "cpu:");
  EXPECT_EQ(host::common_beginning({{"read"}, {"write"}}), "");
  EXPECT_EQ(host::common_beginning({{"save"}, {"save-all"}}), "save");
}

}  // namespace
