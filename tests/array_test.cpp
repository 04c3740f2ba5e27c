#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "support/support.hpp"

// The macros that dump and restore the CPU's memory arrays.

namespace {

using support::run_macro;
using support::RunResult;
using Lines = std::vector<std::string>;
using Words = std::vector<macro_word>;

const support::UnitWords CPU = support::one_chip(scdb::ChipKind::cpu, 1, 1);

constexpr macro_word DUMP = 1;
constexpr macro_word RESTORE = 2;
constexpr macro_word PLANT = 1;  ///< _PARA[2]: check bits as they are

/// How the words of an entry are used: the bits of its data and check bits, and how wide its syndrome is.
struct Format {
  std::array<macro_word, 3> data;
  std::array<macro_word, 3> check;
  macro_word syndrome;

  [[nodiscard]] unsigned check_bits() const { return static_cast<unsigned>(std::popcount(syndrome)); }
};
constexpr Format FRONT{{0x0000FFFF, 0xFFFFFFFF, 0xFFFF0000}, {0xFF000000, 0, 0}, 0x0000FF00};
constexpr Format MARKED{{0x0000FFFF, 0xFFFFFFFF, 0xFFFF0001}, {0xFF000000, 0, 0}, 0x0000FF00};
constexpr Format NARROW{{0x0000FFE0, 0, 0}, {0xFC000000, 0, 0}, 0x0000FC00};
constexpr Format BEHIND{{0xFFFFFFFF, 0xFFFFFFFF, 0}, {0, 0, 0xFF000000}, 0x0000FF00};

/// A member: how its first entry stands in _PARA[0], its entries, and the rings in the order of opening and closing.
struct Member {
  const char *macro;
  const Format &format;
  macro_word limit;
  unsigned shift;  ///< of the entry or line number
  std::vector<unsigned> opened;
  std::vector<unsigned> closed;
  macro_word transferred = 1;  ///< entries of a run with count 1
  std::vector<macro_word> banks = {0};
  std::vector<std::pair<const char *, unsigned>> arrays = {};  ///< and the entry in them, for entry 3

  [[nodiscard]] macro_word para(macro_word number, macro_word bank = 0) const { return number << shift | bank; }
};

void PrintTo(const Member &member, std::ostream *out) {
  *out << member.macro;
}

// Address bits 12 and 15 of _PARA[0].
constexpr macro_word ADRS12 = 0x00080000;
constexpr macro_word ADRS15 = 0x00010000;

const std::vector<unsigned> FIRST_OPENED{60, 61, 55, 57};
const std::vector<unsigned> FIRST_CLOSED{55, 57, 60, 61};
const std::vector<unsigned> CORE_OPENED{151, 152, 146};
const std::vector<unsigned> CORE_CLOSED{146, 151, 152};

std::vector<Member> members() {
  return {
      {"cp_9AC1_0101", FRONT, 1024, 6, FIRST_OPENED, FIRST_CLOSED, 1, {0}, {{"instruction data", 3}}},
      {"cp_9AC2_0101", MARKED, 1024, 6, FIRST_OPENED, FIRST_CLOSED, 1, {0}, {{"operand data", 3}}},
      {"cp_9AC3_0101", NARROW, 1024, 6, FIRST_OPENED, FIRST_CLOSED, 1, {0}, {{"instruction tag", 3}}},
      {"cp_9AC4_0101", NARROW, 2048, 8, {60, 61, 55}, {55, 60, 61}, 1, {0, ADRS12}, {{"operand tag", 3}}},
      {"cp_9AC5_0101", BEHIND, 32, 0, {60, 61, 55}, {55, 60, 61}, 32, {0}, {{"line ram", 96}}},
      {"cpj_A281_0101", FRONT, 1024, 6, CORE_OPENED, CORE_CLOSED, 1, {0}, {{"core 0 instruction data", 3}}},
      {"cpj_A282_0101", MARKED, 1024, 6, CORE_OPENED, CORE_CLOSED, 1, {0}, {{"core 0 operand data", 3}}},
      {"cpj_A283_0101", NARROW, 1024, 6, CORE_OPENED, CORE_CLOSED, 1, {0}, {{"core 0 instruction tag upper", 1}}},
      {"cpj_A284_0101",
       NARROW,
       1024,
       6,
       CORE_OPENED,
       CORE_CLOSED,
       1,
       {0, ADRS12, ADRS15, ADRS12 | ADRS15},
       {{"core 0 operand tag upper", 1}}},
      {"cpj_A285_0101", BEHIND, 32, 0, {151, 152, 144}, {144, 151, 152}, 32, {0}, {{"core 0 line ram lower", 96}}},
      {"cpj_A286_0101", BEHIND, 2048, 8, {152, 151}, {151, 152}, 1, {0}, {{"core 0 translation", 3}}},
      {"cpj_A287_0101", BEHIND, 2048, 8, {152, 151}, {151, 152}, 1, {0}, {{"core 0 secondary data", 3}}},
      {"cpj_A288_0101", BEHIND, 1024, 6, {152, 151}, {151, 152}, 1, {0}, {{"core 0 secondary tag", 3}}},
      {"cpj_A2C1_0101", FRONT, 1024, 6, CORE_OPENED, CORE_CLOSED, 1, {0}, {{"core 1 instruction data", 3}}},
      {"cpj_A2C2_0101", MARKED, 1024, 6, CORE_OPENED, CORE_CLOSED, 1, {0}, {{"core 1 operand data", 3}}},
      {"cpj_A2C3_0101", NARROW, 1024, 6, CORE_OPENED, CORE_CLOSED, 1, {0}, {{"core 1 instruction tag upper", 1}}},
      {"cpj_A2C4_0101",
       NARROW,
       1024,
       6,
       CORE_OPENED,
       CORE_CLOSED,
       1,
       {0, ADRS12, ADRS15, ADRS12 | ADRS15},
       {{"core 1 operand tag upper", 1}}},
      {"cpj_A2C5_0101", BEHIND, 32, 0, {151, 152, 144}, {144, 151, 152}, 32, {0}, {{"core 1 line ram lower", 96}}},
      {"cpj_A2C6_0101", BEHIND, 2048, 8, {152, 151}, {151, 152}, 1, {0}, {{"core 1 translation", 3}}},
      {"cpj_A2C7_0101", BEHIND, 2048, 8, {152, 151}, {151, 152}, 1, {0}, {{"core 1 secondary data", 3}}},
      {"cpj_A2C8_0101", BEHIND, 1024, 6, {152, 151}, {151, 152}, 1, {0}, {{"core 1 secondary tag", 3}}},
  };
}

/// The ring bit addresses in a call's line, single bits that count down written out.
Words addresses_of(const std::string &line) {
  Words words;
  std::istringstream parts(line.substr(std::min(line.find('@'), line.size() - 1) + 1));
  for (std::string part; parts >> part;) {
    const std::size_t dots = part.find("..");
    const unsigned long first = std::stoul(part, nullptr, 16);
    const unsigned long last = dots == std::string::npos ? first : std::stoul(part.substr(dots + 2), nullptr, 16);
    for (unsigned long address = first; address >= last; --address)
      words.push_back(static_cast<macro_word>(address));
  }
  return words;
}

class Arrays : public testing::TestWithParam<Member> {
 protected:
  static const Member &member() { return GetParam(); }

  static Words run(const Member &member, macro_word rw, const Words &para, const Words &data = {}) {
    const std::size_t words = 3 * std::size_t{member.transferred} * para[1];
    const RunResult run = run_macro({member.macro, rw, para, data, words}, CPU);
    EXPECT_EQ(run.status, 0U) << member.macro;
    EXPECT_EQ(run.result, 0);
    return run.data;
  }
  /// The words of entries with these data words, as a restore takes them; check bits are 0.
  static Words entries(macro_word count, macro_word seed) {
    Words words;
    for (macro_word i = 0; i < 3 * count; ++i)
      words.push_back((seed + i) * 0x9E3779B1U & member().format.data[i % 3]);
    return words;
  }
  /// The same bits of a dump, which must have no syndrome.
  static Words clean_data(const Words &dumped) {
    Words words;
    for (std::size_t i = 0; i < dumped.size(); ++i) {
      words.push_back(dumped[i] & member().format.data[i % 3]);
      EXPECT_EQ(dumped[i] & ~(member().format.data[i % 3] | member().format.check[i % 3]), 0U) << "word " << i;
    }
    return words;
  }
};

TEST_P(Arrays, PowersOnWithCleanEntries) {
  const support::Server server;
  const Words dumped = run(member(), DUMP, {member().para(3), 1});
  static_cast<void>(clean_data(dumped));
  EXPECT_NE(dumped[0] & member().format.data[0], 0U);
}

TEST_P(Arrays, RestoreThenDumpGivesTheDataBack) {
  const support::Server server;
  const macro_word last = member().limit - 1;
  std::map<std::pair<macro_word, macro_word>, Words> written;
  macro_word seed = 1;
  for (const macro_word bank : member().banks)
    for (const macro_word number : {macro_word{0}, macro_word{1}, last / 2, last / 2 + 1, last}) {
      const Words words = entries(member().transferred, seed += 1000);
      run(member(), RESTORE, {member().para(number, bank), 1}, words);
      written[{bank, number}] = words;
    }
  // No entry lies on another one.
  for (const auto &[place, words] : written)
    EXPECT_EQ(clean_data(run(member(), DUMP, {member().para(place.second, place.first), 1})), words)
        << "entry " << place.second;
}

TEST_P(Arrays, CountsEntries) {
  if (member().transferred != 1)
    return;  // the line RAM has its own test
  const support::Server server;
  // The numbers go round.
  const Words words = entries(4, 77);
  run(member(), RESTORE, {member().para(member().limit - 2), 4}, words);
  EXPECT_EQ(clean_data(run(member(), DUMP, {member().para(member().limit - 2), 4})), words);
  EXPECT_EQ(clean_data(run(member(), DUMP, {member().para(0), 2})), Words(words.begin() + 6, words.end()));
}

TEST_P(Arrays, ABadCheckCodeIsFound) {
  const support::Server server;
  const Format &format = member().format;
  const Words para{member().para(3), 1, PLANT};
  Words words = run(member(), DUMP, para);
  const macro_word base = words[2] & ~format.syndrome;
  for (unsigned bit = 0; bit < format.check_bits(); ++bit) {
    Words planted = words;
    const std::size_t word = format.check[0] != 0 ? 0 : 2;
    planted[word] ^= macro_word{0x80000000} >> bit;
    run(member(), RESTORE, para, planted);
    const Words dumped = run(member(), DUMP, para);
    EXPECT_EQ(dumped[word] & format.check[word], planted[word] & format.check[word]);
    EXPECT_EQ(dumped[2] & format.syndrome, macro_word{0x8000} >> bit) << "check bit " << bit;
  }
  // Without the parameter the check bits are made anew, whatever those given are.
  run(member(), RESTORE, {para[0], 1, 0xFFFFFFFE}, words);
  EXPECT_EQ(run(member(), DUMP, para)[2], base);
}

/// A flipped cell shows as the column of the code: check bits 0, 5 and 7 of the wide codes cover data bit 0, check bits
/// 0, 3 and 4 of the narrow one.
TEST_P(Arrays, AFlippedCellShowsInTheSyndrome) {
  const auto &[array, entry] = member().arrays[0];
  const support::Server server(
      fmt::format("base = \"default\"\n[[fault]]\nchip = \"cpu:1.1\"\nplace = \"array {}\"\n"
                  "kind = \"flip\"\nentry = {}\nbit = 0\n",
                  array, entry));
  const Words dumped = run(member(), DUMP, {member().para(3), 1});
  EXPECT_EQ(dumped[2] & member().format.syndrome, member().format.check_bits() == 8 ? 0x8500U : 0x9800U);
  static_cast<void>(clean_data(run(member(), DUMP, {member().para(4), 1})));
}

TEST_P(Arrays, RefusesCountsThatItDoesNotHave) {
  const support::Attached<support::ScriptedMachine> machine;
  for (const macro_word count : {macro_word{0}, member().limit + 1, MACRO_ALL}) {
    const RunResult run = run_macro({member().macro, DUMP, {0, count}}, CPU);
    EXPECT_TRUE(run.calls.empty());
    EXPECT_EQ(run.status, MACRO_FAILED);
    EXPECT_EQ(run.result, -1);
    EXPECT_EQ(run.err, support::refusal(SUB_COUNT, count));
    EXPECT_TRUE(run.written.empty());
  }
  EXPECT_EQ(run_macro({member().macro, 0, {0, member().limit}}, CPU).status, 0U);
}

constexpr std::array<scdb::Chip, 1> CHIP{{{scdb::ChipKind::cpu, 1, 1}}};
constexpr unsigned RINGS[] = {55, 57, 60, 61, 144, 146, 151, 152};

Words ring_words(unsigned ring, macro_word word) {
  Words words((scdb::machine().ring_bits(CHIP[0], ring) + 31) / 32, word);
  return words;
}

/// Whatever the rings hold, a macro sets each latch that an access depends on.
TEST_P(Arrays, SetsTheLatchesThatItNeeds) {
  const support::Server server;
  const Words para{member().para(3), 1};
  const Words before = run(member(), DUMP, para);
  for (const unsigned ring : RINGS)
    EXPECT_TRUE(scdb::machine().write_ring(CHIP, ring, ring_words(ring, MACRO_ALL)).ok());
  EXPECT_EQ(run(member(), DUMP, para), before);
}

/// The addresses of a field name the ring that the buffer holds.
TEST_P(Arrays, FieldsAreOfTheRingInTheBuffer) {
  const support::Server server;
  for (const macro_word rw : {DUMP, RESTORE}) {
    const Words data = entries(member().transferred, 5);
    macro_word held = 0;
    for (const std::string &line : run_macro({member().macro, rw, {member().para(9), 1}, data, 96}, CPU).calls) {
      if (line.starts_with("open ") || line.starts_with("fetch "))
        held = static_cast<macro_word>(std::stoul(line.substr(line.find(' ')), nullptr, 16));
      for (const macro_word address : addresses_of(line))
        EXPECT_EQ(address >> 19 & 0x1FF, held) << line;
    }
  }
}

/// Whatever the direction, the same rings are opened and closed; what lies between leaves nothing behind.
TEST_P(Arrays, OpensAndClosesItsRings) {
  const support::Server server;
  const auto observe = [] {
    Words words;
    for (const unsigned code : {0x76U, 0x77U}) {
      macro_word word = 0;
      EXPECT_TRUE(scdb::machine().jtag(CHIP, scdb::JtagAccess::read, code, word).ok());
      words.push_back(word);
    }
    for (const unsigned ring : RINGS) {
      Words contents = ring_words(ring, 0);
      EXPECT_TRUE(scdb::machine().read_ring(CHIP, ring, contents).ok());
      words.insert(words.end(), contents.begin(), contents.end());
    }
    return words;
  };
  for (const macro_word rw : {0U, DUMP, RESTORE, 3U}) {
    const Words before = observe();
    const Words data = entries(member().transferred, 5);
    const RunResult run = run_macro({member().macro, rw, {member().para(9), 1}, data}, CPU);
    Lines opened;
    Lines closed;
    for (std::size_t i = 0; i < member().opened.size(); ++i) {
      opened.push_back(fmt::format("open {:X}", member().opened[i]));
      closed.push_back(fmt::format("close {:X}", member().closed[i]));
    }
    EXPECT_EQ(Lines(run.calls.begin(), run.calls.begin() + std::ssize(opened)), opened);
    EXPECT_EQ(Lines(run.calls.end() - std::ssize(closed), run.calls.end()), closed);
    if (rw != DUMP) {
      EXPECT_TRUE(run.written.empty());
    }
    if (rw != DUMP && rw != RESTORE) {
      EXPECT_TRUE(std::ranges::none_of(run.calls, [](const std::string &line) { return line.starts_with("write"); }));
    }
    EXPECT_TRUE(observe() == before) << "_RW " << rw;
  }
}

INSTANTIATE_TEST_SUITE_P(Members, Arrays, testing::ValuesIn(members()),
                         [](const auto &row) { return std::string(row.param.macro); });

/// The line macros transfer one line whatever the count, and nothing on failure is put right.
class LineRam : public testing::Test {
 protected:
  support::Attached<support::ScriptedMachine> machine_;

  static constexpr macro_word ORDER[] = {0,  8,  1,  9,  2,  10, 3,  11, 4,  12, 5,  13, 6,  14, 7,  15,
                                         16, 24, 17, 25, 18, 26, 19, 27, 20, 28, 21, 29, 22, 30, 23, 31};

  static Lines nested(const char *number) {
    Lines lines{fmt::format("call FFFFFFFF {}", number)};
    lines.insert(lines.end(), 8, "  egen 2 0");
    return lines;
  }
  static void append(Lines &to, const Lines &more) { to.insert(to.end(), more.begin(), more.end()); }
};

Lines line_ram_prepared() {
  return {
      "open 3C",           "open 3D",           "open 37",           "fetch 37",          "sin 0 7 @ 1B84FA8..1B84FA6",
      "sin 0 1 @ 1B84FA5", "sin 0 1 @ 1B84F49", "sin 0 1 @ 1B84F48", "sin 0 1 @ 1B84F47", "sin 0 1 @ 1B84F46",
      "sin 0 1 @ 1B84F45", "sin 0 1 @ 1B84F32", "sin 0 1 @ 1B84F31", "sin 0 1 @ 1B84F30", "sin 0 1 @ 1B84F2F",
      "sin 0 1 @ 1B84F2E", "store 37",          "fetch 3D",
  };
}
const Lines LINE_RAM_CLOSED{"close 37", "close 3C", "close 3D"};

TEST_F(LineRam, DumpCallByCall) {
  // Latches of ones hold zeros, and their check bits are clean.
  std::ranges::fill(machine_->ring(55), MACRO_ALL);
  for (const macro_word count : {1U, 2U, 32U}) {
    const RunResult run = run_macro({"cp_9AC5_0101", DUMP, {0xFFFFFFE5, count}, {}, 100}, CPU);
    Lines calls = line_ram_prepared();
    append(calls, {"sin 0 1 @ 1E8070D", "sin 0 1 @ 1E80709"});
    for (const macro_word word : ORDER) {
      append(calls, {fmt::format("sin {:X} 3FF @ 1E8070E 81E80711", 5U << 5 | word), "store 3D", "write 8F 100001FF",
                     "fetch 37", "sout FFFFFFFF @ 1B873A8..1B87389", "sout FFFFFFFF @ 1B87388..1B87369",
                     "sout FF000000 @ 1B87368..1B87361"});
      append(calls, nested("9ACC"));
      append(calls, {"fetch 3D"});
    }
    append(calls, LINE_RAM_CLOSED);
    EXPECT_EQ(run.calls, calls) << count << " lines";
    EXPECT_EQ(run.written.size(), 96U);
    EXPECT_EQ(run.written.back(), 95U);
    EXPECT_TRUE(std::all_of(run.data.begin(), run.data.begin() + 96, [](macro_word word) { return word == 0; }));
    EXPECT_EQ(run.result, 0);
  }
}

TEST_F(LineRam, DumpTellsCheckBitsAndSyndrome) {
  std::ranges::fill(machine_->ring(55), 0);
  // Data of ones has even parity under every mask of 30 bits: all of the check bits read are wrong.
  const RunResult run = run_macro({"cp_9AC5_0101", DUMP, {0, 1}, {}, 96}, CPU);
  EXPECT_EQ(Words(run.data.begin(), run.data.begin() + 3), (Words{0xFFFFFFFF, 0xFFFFFFFF, 0xFF00FF00}));
}

TEST_F(LineRam, RestoreCallByCall) {
  Words data(96);
  for (std::size_t i = 0; i < data.size(); ++i)
    data[i] = i % 3 == 2 ? 0xA5C3F00F : 0xFFFFFFFF;
  for (const macro_word plant : {0U, 1U}) {
    const RunResult run = run_macro({"cp_9AC5_0101", RESTORE, {31, 3, plant}, data}, CPU);
    Lines calls = line_ram_prepared();
    append(calls, {"sin 0 1 @ 1E8070D", "sin 1 1 @ 1E80709"});
    for (const macro_word word : ORDER) {
      append(calls, {fmt::format("sin {:X} 3FF @ 1E8070E 81E80711", 31U << 5 | word), "store 3D", "fetch 3C"});
      if (plant == 0)
        append(calls, nested("9ACC"));
      append(calls, {"sin FFFFFFFF FFFFFFFF @ F1E0000C F1E0001C", "sin FFFFFFFF FFFFFFFF @ F1E0002C F1E0003C",
                     plant == 0 ? "sin 0 FF000000 @ 71E0004C" : "sin A5C3F00F FF000000 @ 71E0004C", "store 3C",
                     "write 8F 1FF", "fetch 3D"});
    }
    append(calls, LINE_RAM_CLOSED);
    EXPECT_EQ(run.calls, calls);
    EXPECT_TRUE(run.written.empty());
  }
}

TEST_F(LineRam, AnyOtherDirectionOnlyPreparesTheRings) {
  const RunResult run = run_macro({"cp_9AC5_0101", 3, {5, 1}}, CPU);
  Lines calls = line_ram_prepared();
  append(calls, LINE_RAM_CLOSED);
  EXPECT_EQ(run.calls, calls);
  EXPECT_TRUE(run.written.empty());
  EXPECT_EQ(run.result, 0);
}

TEST_F(LineRam, AFailureLeavesFinishedEntriesAndOpenRings) {
  support::Recorder recorder(CPU);
  // The second entry's pulse: 18 calls ready the rings, 2 the array, an entry takes 17.
  recorder.fail_call(18 + 2 + 17 + 2);
  const RunResult run = run_macro({"cp_9AC5_0101", DUMP, {0, 1}, {}, 96}, CPU, recorder);
  EXPECT_EQ(run.calls.back(), "write 8F 100001FF");
  EXPECT_EQ(run.written, (std::vector<std::size_t>{0, 1, 2}));
  EXPECT_EQ(run.result, -1);
}

/// The line RAM of a core: what is done with which ring, fields told by their masks.
TEST_F(LineRam, OfACoreStepByStep) {
  for (const macro_word rw : {DUMP, RESTORE}) {
    std::ranges::fill(machine_->ring(144), 0x0F0F0F0F);
    const RunResult run = run_macro({"cpj_A285_0101", rw, {18, 2}, Words(96, 0)}, CPU);
    Lines calls{"open 97", "open 98", "open 90", "fetch 90", "sout 1FF"};
    append(calls, Lines(9, "sout 1"));
    append(calls, {"sin 0 7"});
    append(calls, Lines(11, "sin 0 1"));
    append(calls, {"store 90", "fetch 98", "sin 0 1", rw == DUMP ? "sin 0 1" : "sin 1 1"});
    for (const macro_word word : ORDER) {
      append(calls, {fmt::format("sin {:X} 1FF", (18U & 15) << 5 | word), "store 98"});
      if (rw == DUMP) {
        append(calls, {"write 8F 1000017F", "write 8F 100001FF", "fetch 90", "sout FFFFFFFF", "sout FFFFFFFF",
                       "sout FF000000"});
        append(calls, nested("A2CC"));
      } else {
        append(calls, {"fetch 97"});
        append(calls, nested("A2CC"));
        append(calls,
               {"sin 0 FFFFFFFF", "sin 0 FFFFFFFF", "sin 0 FF000000", "store 97", "write 8F 17F", "write 8F 1FF"});
      }
      append(calls, {"fetch 98"});
    }
    // What the sequencer was found at is loaded again: its address, then its state.
    Words found;
    for (const std::string &line : run.calls)
      if (line.starts_with("sout 1FF @") || line.starts_with("sout 1 @")) {
        macro_word value = 0;
        for (const macro_word address : addresses_of(line))
          value = value << 1 | (address % 8 < 4 ? 0 : 1);
        found.push_back(value);
      }
    ASSERT_EQ(found.size(), 10U);
    append(calls, {fmt::format("sin {:X} 1FF", found[0]), "store 98", "fetch 90", "sin 1 1", "sin 0 1"});
    for (std::size_t i = 1; i < found.size(); ++i)
      append(calls, {fmt::format("sin {} 1", found[i])});
    append(calls, {"store 90", "write 8F 100001FF", "close 90", "close 97", "close 98"});

    Lines seen;
    for (const std::string &line : run.calls)
      seen.push_back(line.substr(0, line.find(" @")));
    EXPECT_EQ(seen, calls);
  }
}

/// Core 1's addresses: five below core 0's, but one group 1032 below, three 4 below and two 5 above.
TEST_F(LineRam, AddressesOfTheCores) {
  const auto addresses = [](const char *macro) {
    Words words;
    for (const macro_word rw : {DUMP, RESTORE})
      for (const macro_word line : {0U, 16U})
        for (const std::string &call : run_macro({macro, rw, {line, 1}, Words(96, 0)}, CPU).calls)
          std::ranges::copy(addresses_of(call), std::back_inserter(words));
    return words;
  };
  const Words core_0 = addresses("cpj_A285_0101");
  const Words core_1 = addresses("cpj_A2C5_0101");
  ASSERT_EQ(core_0.size(), core_1.size());
  std::map<std::int32_t, std::set<macro_word>> distances;
  for (std::size_t i = 0; i < core_0.size(); ++i)
    distances[static_cast<std::int32_t>(core_1[i] - core_0[i])].insert(core_0[i]);
  ASSERT_EQ(distances.size(), 4U);
  EXPECT_EQ(distances[-4].size(), 3U);
  EXPECT_EQ(distances[5].size(), 2U);
  EXPECT_GT(distances[-5].size(), distances[-1032].size());
  EXPECT_FALSE(distances[-1032].empty());
}

/// Registers that open the caches' arrays are put back as they were; the data-out polarity is theirs to say.
TEST(CacheArrays, OperandRegisters) {
  struct Row {
    const char *macro;
    Lines opened;
    Lines closed;
  };
  for (const macro_word held : {0x00000000U, 0x41234567U}) {
    support::Attached<support::ScriptedMachine> machine;
    machine->on_jtag_read(0x76, [held](unsigned) { return held; });
    machine->on_jtag_read(0x77, [held](unsigned) { return held; });
    machine->offered = {0x1A34};
    Words moved;
    machine->on_nested = [&](const scdb::NestedCall &call) {
      EXPECT_EQ(call.para[0], 22U);
      if (call.rw == 1)
        call.data[0] = held;
      else
        moved.push_back(call.data[0]);
      return scdb::Outcome::success();
    };
    const std::string opened = fmt::format("{:X}", held | 0x80000000);
    const std::string closed = fmt::format("{:X}", held);
    for (const Row &row : {
             Row{"cp_9AC1_0101", {"call 1 1A34", "call 2 1A34"}, {"call 2 1A34"}},
             Row{"cp_9AC2_0101", {"call 1 1A34", "call 2 1A34"}, {"call 2 1A34"}},
             Row{"cpj_A281_0101", {"read 76", "write 56 " + opened}, {"write 56 " + closed}},
             Row{"cpj_A2C2_0101", {"read 76", "write 56 " + opened}, {"write 56 " + closed}},
             Row{"cpj_A283_0101", {"read 77", "write 57 " + opened}, {"write 57 " + closed}},
             Row{"cpj_A2C4_0101", {"read 77", "write 57 " + opened}, {"write 57 " + closed}},
         }) {
      const RunResult run = run_macro({row.macro, RESTORE, {0, 1}, Words(3, 0)}, CPU);
      Lines registers;
      for (const std::string &line : run.calls)
        if (line.ends_with(" 1A34") || line.starts_with("read 7") || line.starts_with("write 5"))
          registers.push_back(line);
      Lines expected = row.opened;
      expected.insert(expected.end(), row.closed.begin(), row.closed.end());
      EXPECT_EQ(registers, expected) << row.macro;
    }
    EXPECT_EQ(moved, (Words{held | 0x80000000, held, held | 0x80000000, held}));
    // All latches at zero: data of zeros, or of ones where the register says that they are inverted.
    std::ranges::fill(machine->ring(146), 0);
    const macro_word data = (held & 0x40000000) != 0 ? MACRO_ALL : 0;
    EXPECT_EQ(run_macro({"cpj_A281_0101", DUMP, {0, 1}}, CPU).data[1], data);
  }
}

}  // namespace
