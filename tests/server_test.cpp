#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

#include "scdb/machine.hpp"

/// The simulated server as the primitives see it.
namespace {

using namespace scdb;
using testing::HasSubstr;

constexpr Chip CPU{ChipKind::cpu, 0, 0};
constexpr Chip OTHER_CPU{ChipKind::cpu, 0, 1};
constexpr Chip MAC{ChipKind::mac, 0, 0};
constexpr Chip SC{ChipKind::sc, 0, 0};
constexpr Chip XB{ChipKind::xb, 0, 0};
constexpr Chip IOC{ChipKind::ioc, 0, 0};
constexpr Chip SP{ChipKind::sp, 0, 0};
constexpr Chip BOTH_CPUS[] = {CPU, OTHER_CPU};
constexpr macro_word UNTOUCHED = 0x0BADF00D;

const std::string SMALL = R"(name = "small"
boards = 1
[chips]
cpu = 2
mac = 1
sc = 1
xb = 1
ioc = 1
sp = 1
)";

std::unique_ptr<Machine> small(const std::string &more = {}) {
  return open_machine_text(SMALL + more, "small.toml");
}

Outcome jtag(Machine &machine, Chip chip, JtagAccess access, unsigned code, macro_word &word) {
  return machine.jtag({&chip, 1}, access, code, word);
}

void write(Machine &machine, Chip chip, unsigned code, macro_word word) {
  EXPECT_TRUE(jtag(machine, chip, JtagAccess::write, code, word).ok()) << "write " << code;
}

macro_word read(Machine &machine, Chip chip, unsigned code) {
  macro_word word = UNTOUCHED;
  EXPECT_TRUE(jtag(machine, chip, JtagAccess::read, code, word).ok()) << "read " << code;
  return word;
}

macro_word ask(Machine &machine, macro_word command) {
  write(machine, CPU, 0xB0, command);
  return read(machine, CPU, 0xB1);
}

std::vector<macro_word> ring(Machine &machine, Chip chip, unsigned code) {
  std::vector<macro_word> words((machine.ring_bits(chip, code) + 31) / 32);
  EXPECT_TRUE(machine.read_ring({&chip, 1}, code, words).ok());
  return words;
}

macro_word command(unsigned operation, unsigned number, macro_word data = 0) {
  return operation << 26 | number << 20 | data;
}
constexpr unsigned WRITE = 0x10;
constexpr unsigned READ_FIRST = 0x18;
constexpr unsigned READ_SECOND = 0x19;
constexpr unsigned READ_FOR_BYTE = 0x1A;
constexpr macro_word READ_STATE = 0x6C000000;
constexpr macro_word SET_STATE = 0x50008000;
constexpr macro_word CLEAR_STATE = 0x50000000;
constexpr macro_word START = 0x30000000;
constexpr macro_word STOP = 0x20000000;
constexpr macro_word RESET = 0x10000000;

TEST(RegisterPort, TwentyBitRegistersKeepTheirLastTwoValues) {
  const auto machine = small();
  for (const unsigned number : {16U, 23U, 32U, 39U}) {
    SCOPED_TRACE(number);
    const macro_word at_power_on = ask(*machine, command(READ_FIRST, number));
    write(*machine, CPU, 0xB0, command(WRITE, number, 0xFFFFF - number));
    EXPECT_EQ(ask(*machine, command(READ_FIRST, number)), 0xFFFFF - number);
    EXPECT_EQ(ask(*machine, command(READ_SECOND, number)), at_power_on);
    write(*machine, CPU, 0xB0, command(WRITE, number, number));
    EXPECT_EQ(ask(*machine, command(READ_FOR_BYTE, number)), number);
    EXPECT_EQ(ask(*machine, command(READ_SECOND, number)), 0xFFFFF - number);
  }
  EXPECT_EQ(ask(*machine, command(READ_FIRST, 16)), 16U) << "registers share a cell";
}

TEST(RegisterPort, ByteRegistersArePackedInTwoWords) {
  const auto machine = small();
  write(*machine, CPU, 0xB2, 0x01020304);
  write(*machine, CPU, 0xB3, 0x05060708);
  write(*machine, CPU, 0xB3, 0x15160708);
  for (unsigned number = 0; number < 8; ++number) {
    SCOPED_TRACE(number);
    EXPECT_EQ(ask(*machine, command(READ_FOR_BYTE, number)), number < 4 ? 0x01020304U : 0x15160708U);
    EXPECT_EQ(ask(*machine, command(READ_FIRST, number)), number + 1 + (number == 4 || number == 5 ? 0x10 : 0));
  }
  EXPECT_EQ(ask(*machine, command(READ_SECOND, 4)), 0x05U);
}

TEST(RegisterPort, HasNoRegistersBetweenTheGroups) {
  const auto machine = small();
  for (const unsigned number : {8U, 15U, 24U, 31U, 40U, 63U}) {
    write(*machine, CPU, 0xB0, command(WRITE, number, 0x12345));
    for (const unsigned operation : {READ_FIRST, READ_SECOND, READ_FOR_BYTE})
      EXPECT_EQ(ask(*machine, command(operation, number)), 0U) << number;
  }
}

TEST(RegisterPort, StateAndStatusFollowTheCommands) {
  struct Row {
    macro_word command;
    macro_word state;
    macro_word running;
  };
  const auto machine = small();
  for (const Row &row : {Row{START, 0, 1}, Row{SET_STATE, 0x8000, 1}, Row{STOP, 0x8000, 0}, Row{CLEAR_STATE, 0, 0},
                         Row{SET_STATE, 0x8000, 0}, Row{START, 0x8000, 1}, Row{RESET, 0, 0}}) {
    write(*machine, CPU, 0xB0, row.command);
    EXPECT_EQ(ask(*machine, READ_STATE), row.state) << std::hex << row.command;
    EXPECT_EQ(read(*machine, CPU, 0x0F), row.running) << std::hex << row.command;
  }
}

TEST(RegisterPort, ResetBringsThePowerOnValuesBack) {
  const auto machine = small();
  const auto fresh = small();
  const macro_word control = ~read(*machine, CPU, 0x61);
  write(*machine, CPU, 0x41, control);
  write(*machine, CPU, 0xB2, 0);
  for (const unsigned number : {16U, 39U})
    write(*machine, CPU, 0xB0, command(WRITE, number, 1));
  write(*machine, CPU, 0xB0, RESET);
  for (const unsigned number : {0U, 3U, 16U, 39U})
    for (const unsigned operation : {READ_FIRST, READ_SECOND})
      EXPECT_EQ(ask(*machine, command(operation, number)), ask(*fresh, command(operation, number))) << number;
  EXPECT_EQ(read(*machine, CPU, 0x61), control) << "the port's reset is for the port's registers";
}

TEST(Server, RefusesWhatItDoesNotHave) {
  struct Row {
    const char *what;
    Reason reason;
    std::function<Outcome(Machine &, macro_word &)> access;
  };
  const auto read_at = [](Chip chip, unsigned code) {
    return [=](Machine &m, macro_word &word) { return jtag(m, chip, JtagAccess::read, code, word); };
  };
  const auto write_at = [](Chip chip, unsigned code, macro_word value) {
    return [=](Machine &m, macro_word &) {
      macro_word word = value;
      return jtag(m, chip, JtagAccess::write, code, word);
    };
  };
  const auto i2c_at = [](Chip chip, Direction direction, macro_word port, unsigned device, unsigned mode,
                         unsigned bytes) {
    return [=](Machine &m, macro_word &word) {
      return m.i2c({&chip, 1}, direction, port, device, mode, {&word, 1}, bytes);
    };
  };
  const auto mbc_at = [](Chip chip, macro_word bank, macro_word address, unsigned bytes) {
    return [=](Machine &m, macro_word &word) { return m.mbc({&chip, 1}, Direction::read, bank, address, bytes, word); };
  };
  const Row rows[] = {
      {"unknown instruction", Reason::no_register, read_at(CPU, 0x00)},
      {"read instruction written", Reason::read_only, write_at(CPU, 0x61, 0)},
      {"write instruction read", Reason::write_only, read_at(CPU, 0xB0)},
      {"chip without instructions", Reason::unsupported, read_at(SP, 0xB1)},
      {"unknown ring", Reason::no_ring,
       [](Machine &m, macro_word &word) {
         return m.read_ring({&CPU, 1}, 0x40, {&word, 1});
       }},
      {"RAM that is left out", Reason::no_entry, write_at(XB, 0x88, 0x40D40000)},
      {"entry beyond the RAM", Reason::no_entry, write_at(XB, 0x88, 0x40900200)},
      {"chip without I2C", Reason::unsupported, i2c_at(CPU, Direction::read, MACRO_ALL, 32, 2, 4)},
      {"unknown device", Reason::no_device, i2c_at(MAC, Direction::read, MACRO_ALL, 2, 2, 4)},
      {"channel register without channel", Reason::no_device, i2c_at(MAC, Direction::read, MACRO_ALL, 6, 2, 4)},
      {"register at a channel", Reason::no_device, i2c_at(MAC, Direction::read, 16, 32, 2, 4)},
      {"wrong mode", Reason::unsupported, i2c_at(MAC, Direction::read, MACRO_ALL, 32, 3, 4)},
      {"bridge read", Reason::write_only, i2c_at(IOC, Direction::read, MACRO_ALL, 0xBC, 3, 4)},
      {"longer than the device", Reason::no_entry, i2c_at(MAC, Direction::write, MACRO_ALL, 32, 2, 5)},
      {"chip without maintenance bus", Reason::unsupported, mbc_at(SC, 0, 0x30002, 4)},
      {"address beyond the window", Reason::no_register, mbc_at(SP, 0, 0x300FD, 4)},
      {"bank beyond the last", Reason::no_register, mbc_at(SP, 4, 0x30002, 4)},
      {"macro that nobody offers", Reason::no_macro,
       [](Machine &m, macro_word &) {
         const macro_word mring[MRING_WORDS] = {MACRO_ALL};
         return m.nested({.number = 0xFFFF, .unit = {1, 1, mring}});
       }},
  };
  const auto machine = small();
  for (const Row &row : rows) {
    SCOPED_TRACE(row.what);
    macro_word word = UNTOUCHED;
    EXPECT_EQ(row.access(*machine, word).reason, row.reason);
    EXPECT_EQ(word, UNTOUCHED);
  }
  EXPECT_FALSE(machine->offers(0xFFFF));
}

TEST(Server, EveryPartIsAPlaceForFaults) {
  const auto machine = small();
  for (const Chip chip : {CPU, MAC, SC, XB, IOC, SP}) {
    EXPECT_FALSE(machine->parts(chip).empty());
    for (const Part &part : machine->parts(chip)) {
      const char *bits = part.kind == Part::Kind::registers ? "bits = '0'" : "bit = 0";
      EXPECT_NO_THROW((void)small(fmt::format("[[fault]]\nchip = '{}:0.0'\nplace = '{}'\nkind = 'flip'\n{}\n",
                                              info(chip.kind).name, part.name, bits)))
          << part.name;
    }
  }
}

TEST(Server, SeveralChipsAnswerTogether) {
  const auto machine = small();
  macro_word word = 0x00F0;
  ASSERT_TRUE(machine->jtag(BOTH_CPUS, JtagAccess::write, 0x41, word).ok());
  EXPECT_EQ(read(*machine, OTHER_CPU, 0x61), 0x00F0U);
  write(*machine, CPU, 0x41, 0x1001);
  ASSERT_TRUE(machine->jtag(BOTH_CPUS, JtagAccess::read, 0x61, word).ok());
  EXPECT_EQ(word, 0x10F1U);

  const auto mute = open_machine_text("broadcast = false\n" + SMALL, "mute.toml");
  EXPECT_EQ(mute->jtag(BOTH_CPUS, JtagAccess::read, 0x61, word).reason, Reason::unsupported);
}

TEST(Server, RingsHaveTheirLengthAndNoMore) {
  const auto machine = small("[cpu.rings]\n60 = 0\n0x3D = 33\n65 = 64\n");
  EXPECT_EQ(machine->ring_bits(CPU, 48), 37707U);
  EXPECT_EQ(machine->ring_bits(CPU, 60), 0U);
  EXPECT_EQ(machine->ring_bits(CPU, 65), 64U);
  ASSERT_EQ(machine->ring_bits(CPU, 61), 33U);
  const macro_word ones[] = {MACRO_ALL, MACRO_ALL};
  ASSERT_TRUE(machine->write_ring({&CPU, 1}, 61, ones).ok());
  EXPECT_EQ(ring(*machine, CPU, 61), (std::vector<macro_word>{MACRO_ALL, 0x80000000}));
  EXPECT_NE(ring(*machine, OTHER_CPU, 61), ring(*machine, CPU, 61));
}

TEST(Server, CrossbarRamsHoldEntriesOfThreeWords) {
  const auto machine = small();
  for (const macro_word place : {0x00900000U, 0x00D301FFU, 0x00E00001U, 0x00EB01FFU}) {
    for (unsigned i = 0; i < 3; ++i)
      write(*machine, XB, 0xB4 + i, place + i);
    write(*machine, XB, 0x88, 0x80000000 | place);
  }
  for (const macro_word place : {0x00900000U, 0x00D301FFU, 0x00E00001U, 0x00EB01FFU}) {
    write(*machine, XB, 0x88, 0x40000000 | place);
    for (unsigned i = 0; i < 3; ++i)
      EXPECT_EQ(read(*machine, XB, 0x34 + i), place + i);
  }
}

TEST(Server, TransfersCarryBytesFromTheMostSignificant) {
  const auto machine = small();
  const auto i2c = [&](Chip chip, Direction direction, macro_word port, unsigned device, macro_word word,
                       unsigned bytes) {
    EXPECT_TRUE(machine->i2c({&chip, 1}, direction, port, device, 2, {&word, 1}, bytes).ok());
    return word;
  };
  i2c(MAC, Direction::write, MACRO_ALL, 16, 0x11223344, 4);
  i2c(MAC, Direction::write, MACRO_ALL, 16, 0xAABBCCDD, 2);
  EXPECT_EQ(i2c(MAC, Direction::read, MACRO_ALL, 16, 0, 4), 0xAABB3344U);
  EXPECT_EQ(i2c(MAC, Direction::read, MACRO_ALL, 16, 0, 1), 0xAA000000U);
  for (const macro_word port : {16U, 32U, 64U, 128U})
    i2c(MAC, Direction::write, port, 7, port, 4);
  for (const macro_word port : {16U, 32U, 64U, 128U})
    EXPECT_EQ(i2c(MAC, Direction::read, port, 7, 0, 4), port);

  const auto mbc = [&](Direction direction, macro_word bank, macro_word address, unsigned bytes, macro_word word) {
    EXPECT_TRUE(machine->mbc({&SP, 1}, direction, bank, address, bytes, word).ok());
    return word;
  };
  mbc(Direction::write, 0, 0x30002, 4, 0x11223344);
  mbc(Direction::write, 1, 0x30002, 4, 0);
  mbc(Direction::write, 0, 0x30005, 1, 0xFFEE);
  EXPECT_EQ(mbc(Direction::read, 0, 0x30002, 4, 0), 0x112233EEU);
  EXPECT_EQ(mbc(Direction::read, 0, 0x30003, 2, 0), 0x2233U);
}

std::string fault(const std::string &lines) {
  return "[[fault]]\nchip = \"cpu:0.0\"\n" + lines;
}

TEST(Faults, RefuseAccessesOnSchedule) {
  struct Row {
    const char *fault;
    std::vector<Reason> reasons;  ///< of one read of the answer register after another
  };
  constexpr Reason OK = Reason::none;
  constexpr Reason DEAD = Reason::dead_chip;
  constexpr Reason NO_ACK = Reason::no_acknowledge;
  const Row rows[] = {
      {"place = 'chip'\nkind = 'dead'", {DEAD, DEAD, DEAD, DEAD}},
      {"place = 'jtag 0xB1'\nkind = 'no-acknowledge'\nafter = 2", {OK, OK, NO_ACK, NO_ACK}},
      {"place = 'jtag 177'\nkind = 'no-acknowledge'\nafter = 1\ntimes = 2", {OK, NO_ACK, NO_ACK, OK}},
      {"place = 'jtag 0xB0'\nkind = 'dead'\ntimes = 'always'", {OK, OK, OK, OK}},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.fault);
    const auto machine = small(fault(row.fault));
    for (const Reason reason : row.reasons) {
      macro_word word = 0;
      const Outcome outcome = jtag(*machine, CPU, JtagAccess::read, 0xB1, word);
      EXPECT_EQ(outcome.reason, reason);
      EXPECT_EQ(outcome.placed, reason != OK);
      EXPECT_TRUE(jtag(*machine, OTHER_CPU, JtagAccess::read, 0xB1, word).ok());
    }
  }
}

TEST(Faults, SpoilWhatIsRead) {
  struct Row {
    const char *fault;
    macro_word expected;  ///< of a register that was written with 0x12345
  };
  const Row rows[] = {
      {"place = 'jtag 0xB1'\nkind = 'stuck-0'\nbits = 0x5", 0x12340},
      {"place = 'jtag 0xB1'\nkind = 'stuck-1'\nbits = '31,0'", 0x80012345},
      {"place = 'jtag 0xB1'\nkind = 'flip'\nbits = '0-7,16'", 0x023BA},
      {"place = 'register port 16-23'\nentry = 3\nkind = 'flip'\nbits = '0'", 0x12344},
      {"place = 'register port 16-23'\nentry = 2\nkind = 'flip'\nbits = '0'", 0x12345},
      {"place = 'register port answer'\nkind = 'does-not-hold'", 0},
      {"place = 'jtag 0xB0'\nkind = 'does-not-hold'\nafter = 1", 0},
  };
  for (const Row &row : rows) {
    const auto machine = small(fault(row.fault));
    write(*machine, CPU, 0xB0, command(WRITE, 19, 0x12345));
    EXPECT_EQ(ask(*machine, command(READ_FIRST, 19)), row.expected) << row.fault;
  }
}

TEST(Faults, OfRingsShowInEveryScan) {
  struct Row {
    const char *fault;
    macro_word zeros;  ///< bit 197's word after all zeros were written
    macro_word ones;   ///< the same after all ones
    macro_word next;   ///< the word behind it then
  };
  constexpr macro_word BIT = 0x80000000 >> 197 % 32;
  const Row rows[] = {
      {"kind = 'stuck-0'\nbit = 197", 0, ~BIT, MACRO_ALL},
      {"kind = 'stuck-1'\nbit = 197", BIT, MACRO_ALL, MACRO_ALL},
      {"kind = 'flip'\nbit = 197", BIT, ~BIT, MACRO_ALL},
      {"kind = 'flip'\nbit = 197\nafter = 3\ntimes = 1", 0, ~BIT, MACRO_ALL},
      {"kind = 'does-not-hold'\nafter = 2", 0, 0, 0},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.fault);
    const auto machine = small(fault(std::string{"place = 'ring 60'\n"} + row.fault));
    std::vector<macro_word> words((37707 + 31) / 32, 0);
    ASSERT_TRUE(machine->write_ring({&CPU, 1}, 60, words).ok());
    EXPECT_EQ(ring(*machine, CPU, 60)[197 / 32], row.zeros);
    std::ranges::fill(words, MACRO_ALL);
    ASSERT_TRUE(machine->write_ring({&CPU, 1}, 60, words).ok());
    words = ring(*machine, CPU, 60);
    EXPECT_EQ(words[197 / 32], row.ones);
    EXPECT_EQ(words[197 / 32 + 1], row.next);
  }
}

TEST(Faults, ByChanceFollowTheirSeed) {
  const auto struck = [](const std::string &seed) {
    const auto machine = small(fault("place = 'jtag 0xB1'\nkind = 'dead'\nprobability = 0.25\nseed = " + seed));
    std::string pattern;
    macro_word word = 0;
    for (unsigned i = 0; i < 400; ++i)
      pattern += jtag(*machine, CPU, JtagAccess::read, 0xB1, word).ok() ? '.' : 'X';
    return pattern;
  };
  const std::string pattern = struck("1");
  EXPECT_EQ(pattern, struck("1"));
  EXPECT_NE(pattern, struck("2"));
  const auto count = std::ranges::count(pattern, 'X');
  EXPECT_GT(count, 60);
  EXPECT_LT(count, 140);
}

TEST(Description, ComplaintsNameThePlaceAndWhatIsAccepted) {
  struct Row {
    std::string text;
    const char *complaint;
  };
  const Row rows[] = {
      {"name = ", "d.toml:1:8: "},
      {"[=\n", "d.toml:1:2: Error while parsing key"},
      {"\u00E9 = 1\n", "d.toml:1:1: Error while parsing root table"},
      {"name = \"x\"\ncolour = 1\n", "d.toml:2:1: unknown key 'colour'; accepted here: base, name,"},
      {"boards = 2\n[chips]\ncpu = 1\n", "d.toml:1:1: the machine has no name"},
      {"name = \"x\"\n", "d.toml:1:1: the machine has no chip"},
      {"name = \"x\"\nboards = 17\n",
       "d.toml:2:10: boards, when it is no list of board numbers, must be a whole number from 1 to 16"},
      {"name = \"x\"\nboards = [0, 16]\n", "d.toml:2:14: a board's number must be a whole number from 0 to 15"},
      {"base = \"default\"\n[chips]\nxb = 3\n", "d.toml:3:6: xb chips of a board must be a whole number from 0 to 2"},
      {"base = \"default\"\n[[board]]\nnumber = 2\n", "d.toml:3:10: the machine has no board 2"},
      {"base = \"nowhere\"\n",
       "d.toml:1:8: no machine 'nowhere': there is no such file, and the built-in machines are "},
      {"base = \"./nowhere.toml\"\n", "d.toml:1:8: machine description ./nowhere.toml: No such file or directory"},
      {"base = \"/dev/zero\"\n", "d.toml:1:8: machine description /dev/zero: File too large"},
      {"base = \"default\"\n[cpu.rings]\n300 = 5\n",
       "d.toml:3:1: unknown key '300'; accepted here: ring codes from 0 to 0xFF"},
      {"base = \"default\"\n[cpu.rings]\n60 = 65537\n",
       "d.toml:3:6: a ring's length in bits must be a whole number from 0 to 65536"},
      {"base = \"default\"\n[sp]\nbanks = 0\n", "d.toml:3:9: banks must be a whole number from 1 to 16"},
      {"base = \"default\"\n[sp]\nbank = 1\n", "unknown key 'bank' of sp chips; accepted here: seed, rings, banks"},
      {SMALL + fault("place = 'chip'"), "d.toml:10:1: a fault needs chip, place and kind; there is no kind"},
      {SMALL + fault("place = 'jtag 0x100'\nkind = 'dead'"),
       "d.toml:12:9: 'jtag 0x100' names no place; write one of: chip, jtag CODE"},
      {SMALL + fault("place = 'jtag 0x02'\nkind = 'dead'"), "d.toml:12:9: cpu:0.0 has no place \"jtag 0x02\""},
      {SMALL + fault("place = 'register none'\nkind = 'flip'\nbits = '0'"),
       "d.toml:12:9: cpu:0.0 has no place \"register none\""},
      {SMALL + fault("place = 'chip'\nkind = 'stuck-0'"),
       "d.toml:13:8: 'stuck-0' is no kind of fault of \"chip\"; accepted here: dead, no-acknowledge"},
      {SMALL + fault("place = 'ring 60'\nkind = 'flip'"),
       "d.toml:13:8: which bits? write bit = 0 or bit = [0, 1] beside flip"},
      {SMALL + fault("place = 'jtag 0xB1'\nkind = 'flip'"),
       "d.toml:13:8: which bits? write bits = \"31\", bits = \"0-7\" or"},
      {SMALL + fault("place = 'jtag 0xB1'\nkind = 'flip'\nbit = 5"),
       "d.toml:14:7: the bits of a word have no positions: bit 0 is the least significant; write bits = \"26\""},
      {SMALL + fault("place = 'register port 0-7'\nkind = 'flip'\nbit = [31, 0, 64]"),
       "write bits = \"0,31\", and in a fault of its own word = 2 and bits = \"31\""},
      {SMALL + fault("place = 'jtag 0xB1'\nkind = 'flip'\nbits = '7-3'"), "d.toml:14:8: '7-3' names no bits of a word"},
      {SMALL + fault("place = 'jtag 0xB1'\nkind = 'flip'\nbits = '32'"), "d.toml:14:8: '32' names no bits of a word"},
      {SMALL + fault("place = 'jtag 0xB1'\nkind = 'flip'\nbits = '1,'"), "d.toml:14:8: '1,' names no bits of a word"},
      {SMALL + fault("place = 'jtag 0xB1'\nkind = 'flip'\nbits = '1'\nword = 1"),
       "d.toml:14:8: \"jtag 0xB1\" of cpu:0.0 has one word"},
      {SMALL + fault("place = 'ring 60'\nkind = 'flip'\nbits = '1'"),
       "d.toml:14:8: the bits of a ring are named by their positions: write bit"},
      {SMALL + fault("place = 'ring 60'\nkind = 'flip'\nbit = 1\nword = 1"), "d.toml:15:8: word stands beside bits"},
      {SMALL + fault("place = 'ring 60'\nkind = 'flip'\nbit = [0, 37707]"),
       "d.toml:14:7: \"ring 60\" of cpu:0.0 has the bits 0 to 37706"},
      {SMALL + fault("place = 'register port 0-7'\nkind = 'does-not-hold'\nentry = 8"),
       "d.toml:14:9: \"register port 0-7\" of cpu:0.0 has the entries 0 to 7"},
      {SMALL + fault("place = 'chip'\nkind = 'dead'\nprobability = 0"),
       "d.toml:14:15: probability must be a number above 0"},
      {SMALL + "[[fault]]\nchip = 'cpu:1.*'\nplace = 'chip'\nkind = 'dead'",
       "d.toml:11:8: the machine has no chip cpu:1.*"},
      {SMALL + "[[fault]]\nchip = 'gpu:0.0'\nplace = 'chip'\nkind = 'dead'",
       "d.toml:11:8: 'gpu:0.0' names no chip; write KIND:BOARD.CHIP"},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.text);
    try {
      (void)open_machine_text(row.text, "d.toml");
      ADD_FAILURE() << "accepted";
    } catch (const MachineError &error) {
      EXPECT_THAT(error.what(), HasSubstr(row.complaint));
    }
  }
  EXPECT_THROW((void)open_machine("nowhere"), MachineError);
  EXPECT_THROW((void)open_machine("/"), MachineError);
}

TEST(Description, BuiltInMachinesAndOverrides) {
  EXPECT_EQ(open_machine({})->name(), open_machine("default")->name());
  EXPECT_EQ(open_machine("default")->chips().size(), 24U);
  EXPECT_EQ(open_machine("large")->chips().size(), 16U * (4 + 4 + 4 + 2 + 2 + 2));
  macro_word word = 0;
  EXPECT_EQ(jtag(*open_machine("dead-chip"), CPU, JtagAccess::read, 0xB1, word).reason, Reason::dead_chip);

  const auto machine = open_machine_text(R"(base = "default"
boards = [1, 5]
[[board]]
number = 5
cpu = 4
sp = 0
[[chip]]
chip = "sp:1.*"
banks = 1
)",
                                         "d.toml");
  EXPECT_TRUE(machine->has({ChipKind::cpu, 5, 3}));
  EXPECT_FALSE(machine->has({ChipKind::cpu, 1, 3}));
  EXPECT_FALSE(machine->has({ChipKind::sp, 5, 0}));
  EXPECT_FALSE(machine->has(CPU));
  const Chip sp{ChipKind::sp, 1, 0};
  EXPECT_EQ(machine->mbc({&sp, 1}, Direction::read, 1, 0x30002, 4, word).reason, Reason::no_register);
}

TEST(Description, FirmwareFillsARingThatIsShorterThanUsual) {
  const auto machine = small("[cpu.rings]\n0x56 = 40\n");
  const std::array<macro_word, MRING_WORDS> mring{scdb::chip_bit(ChipKind::cpu, 0)};
  std::vector<macro_word> data(16, MACRO_ALL);
  EXPECT_TRUE(machine->nested({.number = 0x1A14, .rw = 2, .unit = {1, 1, mring.data()}, .data = data.data()}).ok());
  EXPECT_EQ(ring(*machine, CPU, 0x56), (std::vector<macro_word>{MACRO_ALL, 0xFF000000}));
}

/// A machine with something of everything that a state holds.
std::unique_ptr<Machine> used() {
  auto machine = small(fault("place = 'jtag 0xB1'\nkind = 'dead'\nafter = 3"));
  write(*machine, CPU, 0xB0, command(WRITE, 16, 0x12345));
  read(*machine, CPU, 0xB1);
  for (unsigned i = 0; i < 3; ++i)
    write(*machine, XB, 0xB4 + i, i);
  write(*machine, XB, 0x88, 0x809001FF);
  std::vector<macro_word> words = ring(*machine, OTHER_CPU, 63);
  words.front() ^= 1;
  words.back() ^= 0x80000000;
  EXPECT_TRUE(machine->write_ring({&OTHER_CPU, 1}, 63, words).ok());
  machine->wait(1'000'000);
  machine->wait(MACRO_ALL);
  return machine;
}

TEST(State, IsTheSameAfterSavingAndLoading) {
  const auto machine = used();
  const std::string text = machine->save_state().value();
  EXPECT_LT(text.size(), 1000U) << "only what differs from power-on is saved";
  const auto other = small(fault("place = 'jtag 0xB1'\nkind = 'dead'\nafter = 3"));
  write(*other, OTHER_CPU, 0x41, 0x11111111);
  other->load_state(text);
  EXPECT_EQ(other->save_state(), text);
  EXPECT_EQ(ring(*other, OTHER_CPU, 63), ring(*machine, OTHER_CPU, 63));
  EXPECT_EQ(ask(*other, command(READ_FIRST, 16)), 0x12345U);
  read(*other, CPU, 0xB1);
  macro_word word = 0;
  EXPECT_EQ(jtag(*other, CPU, JtagAccess::read, 0xB1, word).reason, Reason::dead_chip) << "faults go on counting";
}

TEST(State, ThatDoesNotFitIsRefusedAndChangesNothing) {
  const auto machine = used();
  const std::string before = machine->save_state().value();
  std::vector<std::string> texts{"", "garbage\n", before + "more\n", small()->save_state().value(),
                                 open_machine({})->save_state().value()};
  for (std::size_t end = before.find('\n'); end + 1 < before.size(); end = before.find('\n', end + 1))
    texts.push_back(before.substr(0, end + 1));
  const auto spoiled = [&](const std::string &was, const std::string &is) {
    std::string text = before;
    EXPECT_NE(text.find(was), std::string::npos) << was;
    texts.push_back(text.replace(text.find(was), was.size(), is));
  };
  spoiled("chip cpu:0.1", "chip cpu:0.2");
  spoiled("cells ring 63", "cells ring 64");
  spoiled("fault 0 ", "fault 1 ");
  spoiled("1178 ", "1179 ");
  spoiled("clock ", "clock x");
  spoiled("00012345", "00112345");
  for (const std::string &text : texts) {
    EXPECT_THROW(machine->load_state(text), MachineError) << text;
    EXPECT_EQ(machine->save_state(), before);
  }
}

TEST(State, OfACopyIsItsOwn) {
  const auto machine = used();
  const std::string before = machine->save_state().value();
  const auto copy = machine->copy();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->save_state(), before);
  write(*copy, CPU, 0xB0, RESET);
  write(*copy, XB, 0x88, 0x80900000);
  copy->wait(1);
  EXPECT_EQ(machine->save_state(), before);
  EXPECT_NE(copy->save_state(), before);
}

}  // namespace
