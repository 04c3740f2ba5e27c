#include "support/support.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "support/stage.hpp"

namespace support {

using scdb::Call;
using scdb::Chip;
using scdb::ChipKind;
using scdb::Outcome;
using scdb::Primitive;
using scdb::Reason;

UnitWords one_chip(ChipKind kind, unsigned board, unsigned chip) {
  UnitWords unit{scdb::unit_type_of(kind), macro_word{1} << board, {}};
  unit.mring[board] = scdb::chip_bit(kind, chip);
  return unit;
}

UnitWords all_chips(ChipKind kind) {
  UnitWords unit{scdb::unit_type_of(kind), 0, {}};
  for (const Chip &chip : scdb::machine().chips())
    if (chip.kind == kind) {
      unit.number |= macro_word{1} << chip.board;
      unit.mring[chip.board] |= scdb::chip_bit(kind, chip.number);
    }
  return unit;
}

macro_word operand(const Call &call, std::string_view name) {
  const auto found = std::ranges::find(call.operands, name, &scdb::Operand::name);
  return found != call.operands.end() ? found->value : MACRO_ALL;
}

namespace {

std::string addresses(std::span<const macro_word> list) {
  std::string text;
  for (std::size_t i = 0; i < list.size();) {
    std::size_t end = i + 1;
    while (end < list.size() && list[i] >> 28 == 0 && list[end] == list[end - 1] - 1)
      ++end;
    text += end - i > 1 ? fmt::format(" {:X}..{:X}", list[i], list[end - 1]) : fmt::format(" {:X}", list[i]);
    i = end;
  }
  return text;
}

/// What differs from the ordinary call.
std::string oddities(const Call &call, const UnitWords &unit) {
  std::string text;
  const std::array<macro_word, 3> triple{operand(call, "t0"), operand(call, "t1"), operand(call, "t2")};
  if (std::ranges::any_of(triple, [](macro_word word) { return word != MACRO_ALL; }))
    text += fmt::format(" [{:X} {:X} {:X}]", triple[0], triple[1], triple[2]);
  for (const std::string_view name : {"count", "one"})
    if (const macro_word count = operand(call, name); count != 1 && count != MACRO_ALL)
      text += fmt::format(" {}={:X}", name, count);
  if (call.has_unit
      && (call.unit.type != unit.type || call.unit.number != unit.number || call.unit.mring == nullptr
          || !std::equal(unit.mring.begin(), unit.mring.end(), call.unit.mring)))
    text += fmt::format(" unit {:X} {:X}", call.unit.type, call.unit.number);
  return text;
}

std::string call_text(const Call &call) {
  const auto word = [&call](std::string_view name) { return fmt::format("{:X}", operand(call, name)); };
  switch (call.primitive) {
    case Primitive::jtag:
      switch (operand(call, "kind")) {
        case 0:
          return "read " + word("code") + (operand(call, "data") == 0 ? "" : " data " + word("data"));
        case 1:
          return "write " + word("code") + " " + word("data");
        default:
          return "instruct " + word("code") + (operand(call, "data") == 0 ? "" : " data " + word("data"));
      }
    case Primitive::mjtag:
      return "mjtag " + word("code") + " " + word("data");
    case Primitive::bcast:
      return "bcast";
    case Primitive::scan:
      switch (operand(call, "mode")) {
        case 0:
          return "fetch " + word("ring");
        case 1:
          return "store " + word("ring");
        case 128:
          return "open " + word("ring");
        default:
          return "close " + word("ring");
      }
    case Primitive::sin:
      return "sin " + word("value") + " " + word("mask") + " @" + addresses(call.addresses);
    case Primitive::sout:
      return "sout " + word("mask") + " @" + addresses(call.addresses);
    case Primitive::maccall:
      return "call " + word("rw") + " " + word("number");
    case Primitive::i2cctl: {
      const bool writes = operand(call, "direction") == 2;
      std::string text = "i2c " + std::string(writes ? "write " : "read ") + word("device");
      if (writes)
        text += " " + word("data");
      if (operand(call, "port") != MACRO_ALL)
        text += " port " + word("port");
      if (operand(call, "length") != 4)
        text += " length " + word("length");
      if (operand(call, "mode") != 2)
        text += " mode " + word("mode");
      return text;
    }
    case Primitive::mbcreg: {
      const bool writes = operand(call, "direction") == 2;
      std::string text = "mbc " + std::string(writes ? "write " : "read ") + word("bank") + " " + word("address") + " "
                         + word("length");
      if (writes)
        text += " " + word("data");
      if (operand(call, "a") != MACRO_ALL || operand(call, "b") != MACRO_ALL)
        text += " [" + word("a") + " " + word("b") + "]";
      return text;
    }
    case Primitive::egen:
    case Primitive::echk:
      return std::string(call.primitive == Primitive::egen ? "egen " : "echk ") + word("kind") + " " + word("sense");
    case Primitive::wait:
      return "wait " + word("units");
    default:
      return std::string(scdb::name_of(call.primitive));
  }
}

}  // namespace

std::string line_of(const Call &call, const UnitWords &unit) {
  return std::string(std::size_t{call.depth} * 2, ' ') + call_text(call) + oddities(call, unit);
}

Reason Recorder::before(const Call &call) {
  if (call.primitive == Primitive::shift)
    return Reason::none;
  lines_.push_back(line_of(call, unit_));
  return call.primitive != Primitive::wait && failable_++ == failing_ ? Reason::injected : Reason::none;
}

std::vector<Chip> ScriptedMachine::chips() const {
  std::vector<Chip> all;
  for (const scdb::ChipKindInfo &kind : scdb::CHIP_KINDS)
    for (std::uint8_t board = 0; board < scdb::BOARDS; ++board)
      for (std::uint8_t chip = 0; chip < kind.limit; ++chip)
        all.push_back({kind.kind, board, chip});
  return all;
}

bool ScriptedMachine::has(Chip chip) const {
  return chip.board < scdb::BOARDS && chip.number < scdb::info(chip.kind).limit;
}

macro_word ScriptedMachine::random_word() {
  seed_ = seed_ * 6364136223846793005U + 1442695040888963407U;
  return static_cast<macro_word>(seed_ >> 32);
}

std::vector<macro_word> &ScriptedMachine::ring(unsigned code) {
  std::vector<macro_word> &words = rings_[code & 0xFF];
  if (words.empty())
    std::ranges::generate_n(std::back_inserter(words), SCANBUFFER_WORDS, [this] { return random_word(); });
  return words;
}

Outcome ScriptedMachine::jtag(std::span<const Chip> /*chips*/, scdb::JtagAccess access, unsigned code,
                              macro_word &word) {
  if (access == scdb::JtagAccess::read)
    word = jtag_answers_[code] ? jtag_answers_[code](jtag_reads_[code]++) : random_word();
  return Outcome::success();
}

std::size_t ScriptedMachine::ring_bits(Chip /*chip*/, unsigned /*ring*/) const {
  return std::size_t{SCANBUFFER_WORDS} * 32;
}

Outcome ScriptedMachine::read_ring(std::span<const Chip> /*chips*/, unsigned code, std::span<macro_word> words) {
  std::ranges::copy(ring(code), words.begin());
  return Outcome::success();
}

Outcome ScriptedMachine::write_ring(std::span<const Chip> /*chips*/, unsigned code, std::span<const macro_word> words) {
  std::vector<macro_word> &held = ring(code);
  std::ranges::copy(words, held.begin());
  if (on_ring_write)
    on_ring_write(code, held);
  return Outcome::success();
}

Outcome ScriptedMachine::i2c(std::span<const Chip> /*chips*/, scdb::Direction direction, macro_word /*port*/,
                             unsigned device, unsigned /*mode*/, std::span<macro_word> words, unsigned /*bytes*/) {
  if (direction == scdb::Direction::read)
    for (macro_word &word : words)
      word = i2c_answers_[device] ? i2c_answers_[device](i2c_reads_[device]++) : random_word();
  return Outcome::success();
}

Outcome ScriptedMachine::mbc(std::span<const Chip> /*chips*/, scdb::Direction direction, macro_word /*bank*/,
                             macro_word /*address*/, unsigned bytes, macro_word &word) {
  if (direction == scdb::Direction::read)
    word = random_word() >> (32 - 8 * bytes);
  return Outcome::success();
}

bool ScriptedMachine::offers(macro_word number) const {
  return std::ranges::find(offered, number) != offered.end();
}

Outcome ScriptedMachine::nested(const scdb::NestedCall &call) {
  return on_nested ? on_nested(call) : Outcome::success();
}

RunResult run_macro(const RunInput &input, const UnitWords &unit, Recorder &recorder) {
  Stage stage(input, unit);
  RunResult run;
  {
    const scdb::Observing observing(recorder);
    run.result = stage.run();
  }
  run.status = _RETURN;
  run.data.assign(stage.data().contents().begin(), stage.data().contents().end());
  std::ranges::copy(stage.err().contents(), run.err.begin());
  run.calls = recorder.lines();
  for (std::size_t i = 0; i < run.data.size(); ++i)
    if (run.data[i] != stage.data().before()[i])
      run.written.push_back(i);
  EXPECT_TRUE(stage.kept_to_its_areas()) << input.macro << " wrote to _PARA, to _EXP or outside an area";
  return run;
}

RunResult run_macro(const RunInput &input, const UnitWords &unit) {
  Recorder recorder(unit);
  return run_macro(input, unit, recorder);
}

std::array<macro_word, ERROR_RECORD_WORDS> refusal(macro_word subcode, macro_word value,
                                                   const std::vector<std::pair<unsigned, macro_word>> &further) {
  std::array<macro_word, ERROR_RECORD_WORDS> record{};
  record.fill(ERR_BACKGROUND);
  record[ERR_CLASS] = ERR_PARAMETER;
  record[ERR_SUBCODE] = subcode;
  record[ERR_VALUE] = value;
  for (const auto &[index, word] : further)
    record[index] = word;
  return record;
}

Lines operator+(Lines lines, const Lines &more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

void expect_run(const RunResult &run, const RunInput &input, const Lines &calls, const Words &data,
                const std::optional<Record> &record) {
  EXPECT_EQ(run.calls, calls);
  Words expected = data;
  for (std::size_t i = expected.size(); i < run.data.size(); ++i)
    expected.push_back(i < input.data.size() ? input.data[i] : background(i));
  EXPECT_EQ(run.data, expected);
  Record untouched{};
  untouched.fill(ERR_BACKGROUND);
  EXPECT_EQ(run.err, record.value_or(untouched));
}

Server::Server(const std::string &description)
    : before_{scdb::attach(scdb::open_machine_text(description, "test description"))} {}

Server::~Server() {
  static_cast<void>(scdb::attach(std::move(before_)));
}

}  // namespace support
