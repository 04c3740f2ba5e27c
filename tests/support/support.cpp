#include "support/support.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "scdb/macros.hpp"

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

namespace {

macro_word operand(const Call &call, std::string_view name) {
  const auto found = std::ranges::find(call.operands, name, &scdb::Operand::name);
  return found != call.operands.end() ? found->value : MACRO_ALL;
}

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
  const bool can_fail = call.primitive != Primitive::wait;
  if (can_fail && on_call)
    on_call(failable_, data_);
  lines_.push_back(line_of(call, unit_));
  if (!can_fail || failable_++ != failing_)
    return Reason::none;
  failed_at_ = lines_.size();
  return Reason::injected;
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

namespace {

/// An area for a macro with words around it that must stay as they are.
class Area {
 public:
  Area(std::size_t size, const std::function<macro_word(std::size_t)> &fill) : words_(size + 2 * MARGIN, CANARY) {
    for (std::size_t i = 0; i < size; ++i)
      words_[MARGIN + i] = fill(i);
  }
  macro_word *data() { return words_.data() + MARGIN; }
  [[nodiscard]] std::vector<macro_word> contents() const { return {words_.begin() + MARGIN, words_.end() - MARGIN}; }
  [[nodiscard]] bool margins_untouched() const {
    const auto untouched = [](macro_word word) { return word == CANARY; };
    return std::all_of(words_.begin(), words_.begin() + MARGIN, untouched)
           && std::all_of(words_.end() - MARGIN, words_.end(), untouched);
  }

 private:
  static constexpr std::ptrdiff_t MARGIN = 16;
  static constexpr macro_word CANARY = 0xC0DEC0DE;
  std::vector<macro_word> words_;
};

const scdb::Macro &macro_named(const std::string &name) {
  if (scdb::macros().empty())
    scdb::load_macro_library(MACRO_LIBRARY);
  const scdb::Macro *macro = scdb::find_macro(std::string_view(name));
  if (macro == nullptr)
    throw std::invalid_argument("the library has no macro " + name);
  return *macro;
}

}  // namespace

RunResult run_macro(const RunInput &input, const UnitWords &unit, Recorder &recorder) {
  constexpr std::size_t PARA_WORDS = 32;
  constexpr std::size_t EXP_WORDS = 16;
  Area para(PARA_WORDS, [&](std::size_t i) { return i < input.para.size() ? input.para[i] : 0; });
  Area data(std::max(input.data_words, input.data.size()),
            [&](std::size_t i) { return i < input.data.size() ? input.data[i] : background(i); });
  Area err(ERROR_RECORD_WORDS, [](std::size_t) { return ERR_BACKGROUND; });
  Area exp(EXP_WORDS, [](std::size_t) { return 0U; });
  const std::vector<macro_word> para_before = para.contents();
  const std::vector<macro_word> data_before = data.contents();
  const scdb::Macro &macro = macro_named(input.macro);

  RunResult run;
  {
    recorder.data_ = {data.data(), data.contents().size()};
    const scdb::Observing observing(recorder);
    scdb::begin_run();
    _RETURN = input.status;
    run.result = macro.entry(unit.type, unit.number, unit.mring.data(), input.rw, para.data(), data.data(), err.data(),
                             exp.data());
  }
  run.status = _RETURN;
  run.data = data.contents();
  std::ranges::copy(err.contents(), run.err.begin());
  run.calls = recorder.lines();
  for (std::size_t i = 0; i < run.data.size(); ++i)
    if (run.data[i] != data_before[i])
      run.written.push_back(i);
  EXPECT_TRUE(para.margins_untouched() && para.contents() == para_before) << input.macro << " wrote to _PARA";
  EXPECT_TRUE(data.margins_untouched()) << input.macro << " wrote outside _DATA";
  EXPECT_TRUE(err.margins_untouched()) << input.macro << " wrote outside _ERR";
  EXPECT_TRUE(exp.margins_untouched()) << input.macro << " wrote outside _EXP";
  return run;
}

RunResult run_macro(const RunInput &input, const UnitWords &unit) {
  Recorder recorder(unit);
  return run_macro(input, unit, recorder);
}

std::array<macro_word, ERROR_RECORD_WORDS> refusal(macro_word subcode, macro_word value,
                                                   std::vector<std::pair<unsigned, macro_word>> further) {
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
