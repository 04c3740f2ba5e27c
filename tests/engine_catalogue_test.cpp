// What the catalogue's entries mean: expressions, fields, results by name.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/catalogue/catalogue.hpp"
#include "engine/catalogue/decode.hpp"
#include "engine/catalogue/fields.hpp"
#include "engine/catalogue/named_values.hpp"
#include "engine/text/error.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/selection.hpp"

namespace engine {
namespace {

/// What a call gives as text, or the message of what it throws.
template <class Call>
std::string said(Call &&call) {
  try {
    return call();
  } catch (const std::runtime_error &error) {
    return error.what();
  }
}

std::int64_t value_of_name(std::string_view name) {
  return name == "five" ? 5 : name == "two-words" ? 2 : 0xFFFFFFFF;
}

TEST(Expressions, ValuesAndComplaints) {
  struct Row {
    std::string text;
    std::string value;
  };
  const std::vector<Row> rows{
      {"8/4*2", "4"},
      {"8 - 4 - 2", "2"},
      {"2 + 3 * 4", "14"},
      {"(2 + 3) * 4", "20"},
      {"0x10 + five*two-words", "26"},
      // Rounded down, on whichever side of 0.
      {"7 / 2", "3"},
      {"(0 - 7) / 2", "-4"},
      {"7 / (0 - 2)", "-4"},
      {"(0 - 7) / (0 - 2)", "3"},
      {"(0 - 8) / 2", "-4"},
      {"(0 - 1) / all", "-1"},
      // Up to 48 bits as it is, and no further.
      {"all * 65536", "281474976645120"},
      {"all * all", "281474976710656"},
      {"(0 - all) * all", "-281474976710656"},
      {"(0 - all) * (0 - all) * (0 - 1)", "-281474976710656"},
      {"all * all + all * all", "281474976710656"},
      {"all * all - 1", "281474976710655"},
      {"1 / (five - 5)", "'1 / (five - 5)' divides by 0"},
      {"", "'': a number, a name or '(' is expected at the end"},
      {"five *", "'five *': a number, a name or '(' is expected at the end"},
      {"1 + / 2", "'1 + / 2': a number, a name or '(' is expected at '/ 2'"},
      {"(1 + 2", "'(1 + 2': ')' is expected at the end"},
      {"1 2", "'1 2': an operation is expected at '2'"},
      {"4294967296",
       "'4294967296': '4294967296' is not a 32-bit word; give a decimal or 0x number from -2147483648 to "
       "0xFFFFFFFF"},
      {std::string(32, '(') + "1" + std::string(32, ')'), "1"},
      {std::string(33, '(') + "1", fmt::format("'{0}1': less nesting is expected at '1'", std::string(33, '('))},
  };
  for (const Row &row : rows)
    EXPECT_EQ(said([&] { return std::to_string(Expression::parse(row.text).value(value_of_name)); }), row.value)
        << row.text;
}

/// An entry as a file tells it.
MacroEntry entry_of(const std::string &text) {
  const std::string head = "title = \"Test\"\n[[macro]]\nname = \"cp_0001_0101\"\nunit = \"cpu\"\ntitle = \"Test\"\n";
  return read_family(head + text, "test.toml", "test").macros.at(0);
}

constexpr const char *FIELDS = R"(changes = ["write"]
direction = [{rw = 1, name = "read", title = "r"}, {rw = 2, name = "write", title = "w"}]
[[macro.parameter]]
name = "class"
word = 0
bits = "0-3"
title = "class"
values = [{value = 0, name = "none"}, {value = 1, name = "one"}, {value = 5}]
[[macro.parameter]]
name = "index"
word = 0
bits = "4-11"
title = "index"
range = [1, "class + 2"]
[[macro.parameter]]
name = "domains"
word = 2
bits = "8-10"
title = "domains"
flags = [{bit = 0, name = "a"}, {bit = 1, name = "b"}, {bit = 2, name = "c"}]
default = 5
[[macro.parameter]]
name = "rate"
word = 3
title = "rate"
when = {class = "one"}
default = 0x20
[[macro.data]]
name = "it"
role = "input"
directions = ["write"]
start = "class"
[[macro.data.field]]
name = "value"
bits = "0-19"
[[macro.data.field]]
name = "mode"
bits = "20-21"
values = [{value = 2, name = "fast"}]
[[macro.data]]
name = "list"
title = "what comes out"
directions = ["read"]
count = "class * 2"
size = 3
start = 4
)";

std::string hex_list(const std::vector<macro_word> &words) {
  std::string text;
  for (const macro_word word : words)
    text += fmt::format(" {:X}", word);
  return text;
}

TEST(Fields, BecomeWords) {
  struct Row {
    macro_word rw;
    RunWords given;
    std::vector<FieldValue> fields;
    std::string words;  ///< _PARA | _DATA, or the complaint
  };
  using Given = std::vector<FieldValue>;
  const Given least{{"class", "none"}, {"index", macro_word{1}}};
  const auto with = [](Given fields, const Given &more) {
    fields.insert(fields.end(), more.begin(), more.end());
    return fields;
  };
  const std::vector<Row> rows{
      // Names, numbers and defaults; a default of what is not looked at stays away.
      {1, {}, least, " 10 0 500 |"},
      {1, {}, {{"class", "one"}, {"index", "0x3"}}, " 31 0 500 20 |"},
      {1, {}, {{"index", macro_word{7}}, {"class", "5"}, {"domains", "a+b"}}, " 75 0 300 |"},
      {1, {}, with(least, {{"domains", "all"}}), " 10 0 700 |"},
      {1, {}, with(least, {{"domains", "none"}}), " 10 0 0 |"},
      {1, {}, with(least, {{"domains", "c+none"}}), " 10 0 400 |"},
      {1, {}, {{"class", "one"}, {"index", "1"}, {"rate", "-2"}}, " 11 0 500 FFFFFFFE |"},
      // Words that are given stay as they are.
      {1, {{0xFFF, 0xAB}, {}}, {}, " FFF AB 500 |"},
      {1, {{0x11, 0, 0x80000000, 9}, {1, 2}}, {}, " 11 0 80000000 9 | 1 2"},
      {2, {{}, {}}, with(least, {{"value", "0x12345"}, {"mode", "fast"}}), " 10 0 500 | 212345"},
      {2, {{}, {}}, {{"class", "one"}, {"index", "1"}, {"value", "7"}}, " 11 0 500 20 | 0 7"},
      {2, {{}, {8}}, {{"class", "one"}, {"index", "1"}, {"value", "7"}}, " 11 0 500 20 | 8 7"},
      // A direction that the entry does not list needs nothing.
      {7, {}, {}, " 0 0 500 |"},
      {1, {}, {}, "cp_0001_0101 needs class=VALUE, class; accepted are none (0), one (1), 5"},
      {1, {}, {{"class", "two"}}, "class=two: accepted are none (0), one (1), 5; _PARA gives other words to the macro"},
      {1,
       {},
       {{"class", macro_word{2}}},
       "class=2: accepted are none (0), one (1), 5; _PARA gives other words to the "
       "macro"},
      {1, {}, {{"class", "one"}, {"index", "4"}}, "index=4: accepted are 1 to 3; _PARA gives other words to the macro"},
      {1, {}, {{"class", "one"}, {"index", "0"}}, "index=0: accepted are 1 to 3; _PARA gives other words to the macro"},
      {1,
       {},
       with(least, {{"domains", "a+d"}}),
       "domains=a+d: accepted are a, b, c, several joined by +, all, none; "
       "_PARA gives other words to the macro"},
      {1,
       {},
       with(least, {{"domains", "8"}}),
       "domains=8: accepted are a, b, c, several joined by +, all, none; _PARA "
       "gives other words to the macro"},
      {1, {}, with(least, {{"rate", "1"}}), "'rate' is not used with class=0"},
      {1, {}, with(least, {{"value", "1"}}), "'value' is not used with direction read"},
      {1, {}, with(least, {{"index", "1"}}), "'index' is given twice"},
      {1,
       {},
       with(least, {{"speed", "1"}}),
       "cp_0001_0101 has no field 'speed'; it has class, index, domains, rate, "
       "value, mode"},
      {1, {{1}, {}}, {{"index", "1"}}, "'index' and _PARA both give _PARA[0]; give one of them"},
      {2,
       {{}, {}},
       least,
       "cp_0001_0101 reads 1 word of _DATA with direction write, and none is given; give it with "
       "_DATA, or value= mode="},
      {2,
       {{5, 0, 0}, {1, 2}},
       {},
       "cp_0001_0101 reads 6 words of _DATA with direction write, and 2 are given; give all "
       "with _DATA, or value= mode="},
      {2, {{}, {1}}, with(least, {{"mode", "1"}}), "'mode' and _DATA both give _DATA[0]; give one of them"},
      {2, {}, with(least, {{"value", "0x100000"}}), "value=0x100000: accepted are 0 to 0xFFFFF"},
      {2, {}, with(least, {{"mode", "slow"}}), "mode=slow: accepted are 0 to 0x3"},
  };
  const MacroEntry entry = entry_of(FIELDS);
  for (const Row &row : rows)
    EXPECT_EQ(said([&] {
                const RunWords words = with_fields(entry, row.rw, row.given, row.fields);
                return fmt::format("{} |{}", hex_list(words.para), hex_list(words.data));
              }),
              row.words);
}

TEST(Fields, Directions) {
  const MacroEntry entry = entry_of(FIELDS);
  const MacroEntry other = entry_of(
      "changes = \"never\"\ndirection = [{rw = 5, name = \"up\", title = \"u\"}, {rw = 6, "
      "name = \"down\", title = \"d\"}]");
  struct Row {
    const MacroEntry *entry;
    DirectionChoice choice;
    std::string rw;
  };
  const std::vector<Row> rows{
      {&entry, {}, "1"},
      {nullptr, {}, "1"},
      {&entry, "write", "2"},
      {&entry, macro_word{9}, "9"},
      {&entry, "0x7", "7"},
      {&entry, "-1", "4294967295"},
      {&other, "down", "6"},
      {&other, "none", "4294967295"},
      {&other, "read", "1"},
      {&other, {}, "cp_0001_0101 needs a direction; give direction up or down"},
      {&entry, "up", "direction: 'up' is no direction; give read (1), write (2), none (-1) or a number"},
      {nullptr, "0x100000000",
       "direction: '0x100000000' is no direction; give read (1), write (2), none (-1) or a number"},
  };
  for (const Row &row : rows)
    EXPECT_EQ(said([&] { return std::to_string(direction_of(row.choice, row.entry)); }), row.rw);
}

TEST(Fields, SizeOfData) {
  struct Row {
    macro_word rw;
    std::vector<macro_word> para;
    std::string words;
  };
  const MacroEntry entry = entry_of(FIELDS);
  for (const Row &row :
       std::vector<Row>{{1, {}, "1"}, {1, {1}, "10"}, {1, {5}, "34"}, {2, {}, "1"}, {2, {5}, "6"}, {7, {5}, "1"}}) {
    const std::optional<std::size_t> words = Arguments{entry, row.rw, row.para}.area_words();
    EXPECT_EQ(words ? std::to_string(*words) : "nothing", row.words) << row.rw;
  }
  const MacroEntry otherwise = entry_of(std::string{"otherwise = \"does more\"\n"} + FIELDS);
  EXPECT_FALSE(Arguments(otherwise, 7, {}).area_words());
  EXPECT_FALSE(Arguments(entry_of("changes = \"never\""), 1, {}).area_words());
  const std::vector<macro_word> all{MACRO_ALL};
  const MacroEntry large = entry_of(
      "changes = \"never\"\nparameter = [{name = \"n\", word = 0, title = \"n\"}]\n"
      "data = [{name = \"d\", size = \"n\", count = \"n\", start = \"n * n\"}]");
  EXPECT_EQ(Arguments(large, 1, all).area_words(), std::size_t{1} << 24);
}

constexpr const char *RESULTS = R"(changes = "never"
parameter = [{name = "n", word = 0, title = "n"}, {name = "kind", word = 1, title = "k"}]
[[macro.data]]
name = "lane"
size = 3
count = "n"
number = "n * 2"
modulo = 8
[[macro.data.field]]
name = "all"
parts = [{word = 1}, {word = 0}]
[[macro.data.field]]
name = "delta"
word = 2
bits = "4-15"
kind = "signed"
[[macro.data.field]]
name = "up"
word = 2
bits = "0-1"
flags = [{bit = 0, name = "a"}, {bit = 1, name = "b"}]
[[macro.data]]
name = "sum"
start = "n * 3"
when = {kind = [0, 2]}
[[macro.data]]
name = "pair"
start = "n * 3 + 1"
size = 2
[[macro.data]]
name = "side"
start = "n * 3 + 3"
count = 2
labels = ["left", "right"]
[[macro.finding]]
title = "lane is off"
data = "lane"
field = "up"
equals = 0
[[macro.finding]]
title = "sum is odd"
word = 6
mask = 1
when = {kind = 2}
[[macro.finding]]
title = "something is left"
data = "side"
)";

constexpr std::optional<macro_word> NO = std::nullopt;

TEST(Results, ByName) {
  struct Row {
    std::vector<macro_word> para;
    DataWords data;
    std::vector<std::string> shown;
    std::vector<std::string> findings;
  };
  const MacroEntry entry = entry_of(RESULTS);
  const std::vector<Row> rows{
      // 64 bits, signs, flags; numbers that go around.
      {{2, 2},
       {0x89ABCDEF, 0x01234567, 0x7FF3, 0, 0xFFFFFFFF, 0x8000, 7, 1, 2, 0, 0},
       {"lane 4.all=0x0123456789ABCDEF", "lane 4.delta=2047", "lane 4.up=a+b", "lane 5.all=0xFFFFFFFF00000000",
        "lane 5.delta=-2048", "lane 5.up=none", "sum=0x00000007", "pair[0]=0x00000001", "pair[1]=0x00000002",
        "left=0x00000000", "right=0x00000000"},
       {"lane is off: lane 5, up none", "sum is odd: _DATA[6] is 0x00000007"}},
      {{4, 2},
       {0, 0, 1, NO, NO, NO, 0, 0, 1, 0, 0, 1},
       {"lane 0.all=0x0000000000000000", "lane 0.delta=0", "lane 0.up=a", "lane 2.all=0x0000000000000000",
        "lane 2.delta=0", "lane 2.up=a", "lane 3.all=0x0000000000000000", "lane 3.delta=0", "lane 3.up=a"},
       {}},
      // A record that is cut, and words that nobody wrote.
      {{1, 1}, {NO, 5}, {"lane 2.all=not written", "lane 2.delta=not written", "lane 2.up=not written"}, {}},
      {{1, 1}, {NO, NO, NO, NO, NO, 6}, {"pair[0]=not written", "pair[1]=0x00000006"}, {}},
      {{0, 0}, {1, NO, NO, NO, 3}, {"sum=0x00000001", "right=0x00000003"}, {"something is left: right is 0x00000003"}},
      // A count that the macro would refuse.
      {{MACRO_ALL, 0},
       {1, 2},
       {"lane 6.all=0x0000000200000001", "lane 6.delta=not written", "lane 6.up=not written"},
       {}},
      {{1, 0}, {}, {}, {}},
  };
  for (const Row &row : rows) {
    const Arguments arguments{entry, 1, row.para};
    const std::vector<DecodedBlock> blocks = decode(arguments, row.data);
    std::vector<std::string> shown;
    for (const ShownValue &value : shown_values(blocks))
      shown.push_back(fmt::format("{}={}", value.name, shown_text(value)));
    EXPECT_EQ(shown, row.shown);
    EXPECT_EQ(findings_of(arguments, row.data, blocks), row.findings);
  }
}

TEST(Results, KindsOfFields) {
  struct Row {
    std::string field;
    macro_word word;
    std::string text;
  };
  const std::vector<Row> rows{
      {R"(bits = "0-7")", 0xFA5, "0xA5"},
      {R"(bits = "3")", 8, "0x1"},
      {R"(kind = "number")", 0xFFFFFFFF, "4294967295"},
      {R"(kind = "signed")", 0xFFFFFFFF, "-1"},
      {R"(bits = "0-7", kind = "signed")", 0xA5, "-91"},
      {R"(bits = "0-7", kind = "signed")", 0x17F, "127"},
      {R"(bits = "0", kind = "flag")", 5, "yes"},
      {R"(bits = "1", kind = "flag")", 5, "no"},
      {R"(bits = "0-7", kind = "boards")", 0xA5, "boards 0,2,5,7"},
      {R"(bits = "0-15", kind = "boards")", 0x8000, "board 15"},
      {R"(bits = "0-7", kind = "boards")", 0, "none"},
      {R"(kind = "chips")", 0x00030101, "cpu 0-1, sc 0, xb 0"},
      {R"(kind = "chips")", 0, "none"},
      {R"(bits = "0-1", values = [{value = 1, name = "one", title = "first"}])", 1, "one (first)"},
      {R"(bits = "0-1", values = [{value = 1, title = "first"}])", 1, "first"},
      {R"(bits = "0-1", values = [{value = 1, name = "one"}])", 2, "0x2"},
      {R"(parts = [{bits = "4-7"}, {bits = "0-3"}])", 0xA5, "0xA5"},
      {R"(parts = [{bits = "0-3"}, {bits = "4-7"}], kind = "number")", 0xA5, "90"},
      {R"(bits = "8-15", kind = "syndrome", code = "front")", 0xA5, "clean"},
      {R"(bits = "5", kind = "syndrome", code = "tag")", 0xA5, "check bit 5 wrong"},
      {R"(bits = "0-5", kind = "syndrome", code = "tag")", 0x20, "check bit 0 wrong"},
      {R"(bits = "2-7", kind = "syndrome", code = "tag")", 0xA5, "data bit 5 wrong"},
      {R"(bits = "1-8", kind = "syndrome", code = "behind")", 0xA5, "data bit 34 wrong"},
      {R"(bits = "0-7", kind = "syndrome", code = "front")", 0xA5, "several bits wrong"},
      {R"(bits = "0-7", kind = "syndrome", code = "tag")", 0x40, "several bits wrong"},
  };
  for (const Row &row : rows) {
    const MacroEntry entry =
        entry_of("changes = \"never\"\ndata = [{name = \"it\", field = [{name = \"x\", " + row.field + "}]}]");
    const DataWords words{row.word};
    const std::vector<DecodedBlock> blocks = decode({entry, 1, {}}, words);
    EXPECT_EQ(shown_text(shown_values(blocks).at(0)), row.text) << row.field;
  }
}

TEST(Results, ExpectedByName) {
  struct Row {
    std::string name;
    std::string text;
    std::optional<std::uint64_t> number;
    std::string checked;  ///< what it is compared with and whether it holds, or the complaint
  };
  const std::vector<Row> rows{
      {"lane 4.all", "0x123456789ABCDEF", {}, "0x0123456789ABCDEF holds"},
      {"lane 4.all", "", 1, "0x0000000000000001 differs"},
      {"lane 4.delta", "-1", {}, "-1 differs"},
      {"lane 4.delta", "2047", {}, "2047 holds"},
      {"lane 4.delta", "", 0x7FF, "2047 holds"},
      {"lane 4.up", "a+b", {}, "a+b holds"},
      {"lane 4.up", "", 1, "a differs"},
      {"sum", "0x7", {}, "0x00000007 holds"},
      {"pair[1]", "", 0, "0x00000000 differs"},
      {"lane 4.delta", "2048", {}, "'lane 4.delta' is never 2048; it has 12 bits"},
      {"lane 4.delta", "", 0x1000, "'lane 4.delta' is never 0x1000; it has 12 bits"},
      {"lane 4.up", "b+a", {}, "'lane 4.up' is never b+a; it has 2 bits"},
      {"sum", "0x100000000", {}, "'sum' is never 0x100000000; it has 32 bits"},
      {"lane 9.all",
       "1",
       {},
       "cp_0001_0101 has no result 'lane 9.all'; it has lane 4.all, lane 4.delta, lane 4.up, lane 5.all, lane 5.delta, "
       "lane 5.up, sum, pair[0] ..."},
  };
  const MacroEntry entry = entry_of(RESULTS);
  const std::vector<macro_word> para{2, 0};
  const Arguments arguments{entry, 1, para};
  const DataWords words{0x89ABCDEF, 0x01234567, 0x7FF3, 0, 0, 0, 7, 1, NO, 0, 0};
  const std::vector<DecodedBlock> blocks = decode(arguments, words);
  const std::vector<ShownValue> shown = shown_values(blocks);
  for (const Row &row : rows)
    EXPECT_EQ(said([&] {
                NamedExpectation wanted{row.name, row.number, row.text};
                check(wanted, arguments);
                const auto found = std::ranges::find(shown, row.name, &ShownValue::name);
                return fmt::format("{} {}", wanted.text, holds(wanted, *found) ? "holds" : "differs");
              }),
              row.checked);
}

TEST(Results, ExpectedOfWideFields) {
  struct Row {
    std::string field;
    std::string text;
    bool accepted;
  };
  for (const Row &row : std::vector<Row>{
           {R"(kind = "number")", "4294967295", true},
           {R"(kind = "number")", "4294967296", false},
           {R"(kind = "number")", "-1", false},
           {R"(kind = "number")", "1.5", false},
           {R"(kind = "signed")", "-2147483648", true},
           {R"(kind = "signed")", "2147483648", false},
           {R"(parts = [{word = 0}, {word = 1}], kind = "signed")", "-9223372036854775808", true},
           {R"(flags = [{bit = 0, name = "a"}, {bit = 31, name = "b"}])", "a+b", true},
           {R"(flags = [{bit = 0, name = "a"}, {bit = 31, name = "b"}])", "none", true},
           {R"(flags = [{bit = 0, name = "a"}, {bit = 31, name = "b"}])", "b+a", false},
           {R"(values = [{value = 70000, name = "far"}])", "far", true},
           {R"(values = [{value = 70000, name = "far"}])", "near", false},
       }) {
    const MacroEntry entry = entry_of("changes = \"never\"\ndata = [{name = \"it\", size = 2, field = [{name = \"x\", "
                                      + row.field + "}]}]");
    NamedExpectation wanted{"x", {}, row.text};
    EXPECT_EQ(said([&] {
                check(wanted, {entry, 1, {}});
                return std::string{"accepted"};
              }).starts_with("accepted"),
              row.accepted)
        << row.field << " " << row.text;
  }
}

TEST(Units, AsPeopleTypeThem) {
  std::vector<scdb::Chip> chips;
  for (std::uint8_t board = 0; board < 2; ++board)
    for (const scdb::ChipKind kind : {scdb::ChipKind::cpu, scdb::ChipKind::xb})
      for (std::uint8_t chip = 0; chip < 2; ++chip)
        chips.push_back({kind, board, chip});
  struct Row {
    std::string text;
    std::string unit;
  };
  const std::string no_such = ": this machine has no such cpu; it has cpu:0-1.0-1";
  for (const Row &row : std::vector<Row>{
           {"cpu", "cpu:0-1.0-1"},
           {"cpu:*", "cpu:0-1.0-1"},
           {"cpu:1", "cpu:1.0-1"},
           {"cpu:*.1", "cpu:0-1.1"},
           {"cpu:0,1.0,1", "cpu:0-1.0-1"},
           {"cpu:1.1+0.0", "cpu:0.0+1.1"},
           {"cpu:0-1.0", "cpu:0-1.0"},
           {"gpu:0",
            "unit 'gpu:0': 'gpu' is no kind of unit; the kinds are cpu, mac, sc, xb, ioc, sp (for example "
            "cpu:0.1, sc:0,2-3.*)"},
           {"cpu:2", "unit 'cpu:2'" + no_such},
           {"cpu:0.1-2", "unit 'cpu:0.1-2'" + no_such},
           {"cpu:*.3", "unit 'cpu:*.3'" + no_such},
           {"cpu:0.0+5", "unit 'cpu:0.0+5'" + no_such},
           {"xb:0.2", "unit 'xb:0.2': '2' names no chip; give a number from 0 to 1, a list such as 0,2-3, or *"},
           {"cpu:1-0", "unit 'cpu:1-0': '1-0' names no board; give a number from 0 to 15, a list such as 0,2-3, or *"},
       })
    EXPECT_EQ(said([&] { return describe(parse_selection(row.text, chips).words()); }), row.unit) << row.text;
}

TEST(CatalogueFiles, NamePlacesOfMistakes) {
  const std::string macro = "title = \"T\"\n[[macro]]\nname = \"cp_0001_0101\"\nunit = \"cpu\"\ntitle = \"T\"\n";
  const std::string entry = macro + "changes = \"never\"\n";
  const auto parameter = [](const std::string &name, const std::string &more) {
    return "[[macro.parameter]]\nname = \"" + name + "\"\nword = 0\ntitle = \"t\"\n" + more;
  };
  const auto field = [&](const std::string &more) {
    return entry + "[[macro.data]]\nname = \"it\"\n[[macro.data.field]]\nname = \"x\"\n" + more;
  };
  struct Row {
    std::string text;
    std::string complaint;
  };
  const std::vector<Row> rows{
      {"[=]", "1:2: Error while parsing key: expected bare key starting character or string delimiter, saw '='"},
      {"titel = \"x\"", "1:1: unknown key 'titel'; accepted here: title, text, macro"},
      {"title = \"T\"\n[[macro]]\ntitle = \"T\"\n", "2:1: give either 'name' or 'names'"},
      {macro + "changes = [\"up\"]", "6:12: the macro has no direction 'up'"},
      {macro + "changes = \"often\"", "6:11: 'changes' must be \"always\", \"never\", or a list of directions"},
      {entry + "accesses = \"n *\"", "7:12: 'n *': a number, a name or '(' is expected at the end"},
      {entry + "accesses = \"n\"", "7:12: there is no parameter 'n' further up"},
      {entry + "calls = [0x10000]", "7:10: 'calls' must be a whole number from 0 to 65535"},
      {entry + "vars = {a = [1, 2]}", "7:13: 'a' must be a list with 1 elements, one for each name"},
      {entry + parameter("N", ""),
       "8:8: a parameter's name has letters, digits and hyphens, and begins with a "
       "lower-case letter"},
      {entry + parameter("n", "bits = \"4-3\""),
       "11:8: 'bits' is '4-3'; write \"7\" or \"3-4\", from 0, the least "
       "significant, to 31"},
      {entry + parameter("n", "bits = \"0-1\"\nvalues = [{value = 4}]"),
       "7:1: the value 4 does not fit the bits of "
       "'n'"},
      {entry + parameter("n", "range = [0, 1]\nflags = [{bit = 0, name = \"a\"}]"),
       "7:1: give one of 'range', 'values' "
       "and 'flags'"},
      {entry + parameter("a", "") + parameter("b", "when = {a = 1}\n") + parameter("a", "when = {b = 1}\n"),
       "16:1: whether 'a' is used depends on 'a' itself"},
      {field("bits = \"3-40\""),
       "11:8: 'bits' is '3-40'; write \"7\" or \"3-4\", from 0, the least significant, to 31"},
      {field("parts = [{word = 0}, {word = 1}, {word = 2, bits = \"0\"}]"),
       "9:1: the parts of 'x' have 65 bits, more "
       "than 64"},
      {field("kind = \"syndrome\""), "9:1: a syndrome has a 'code', and nothing else has"},
      {field("kind = \"odd\""), "11:8: 'kind' must be one of hex, number, signed, flag, boards, chips, syndrome"},
      {entry + "[[macro.finding]]\ntitle = \"t\"\ndata = \"it\"", "7:1: no result 'it' is described further up"},
      {entry + entry.substr(entry.find("[[")), "7:1: there is a second entry for 'cp_0001_0101'"},
  };
  for (const Row &row : rows)
    EXPECT_EQ(said([&] {
                static_cast<void>(read_family(row.text, "test.toml", "test"));
                return std::string{"it is accepted"};
              }),
              "test.toml:" + row.complaint)
        << row.text;
}

TEST(CatalogueFiles, WhatIsPutIntoATextIsNotLookedAtAgain) {
  const Family family = read_family(
      "title = \"T\"\n[[macro]]\nnames = [\"cp_0001_0101\", \"cp_0002_0101\"]\nunit = \"cpu\"\n"
      "title = \"{a} {b} {c}\"\nvars = {a = [\"{b}{b}\", 7], b = [\"x{a}\", \"y\"]}\nchanges = "
      "\"never\"\n",
      "test.toml", "test");
  EXPECT_EQ(family.macros.at(0).title, "{b}{b} x{a} {c}");
  EXPECT_EQ(family.macros.at(1).title, "7 y {c}");
}

}  // namespace
}  // namespace engine
