#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "engine/catalogue/catalogue.hpp"
#include "engine/catalogue/fields.hpp"
#include "engine/run/runner.hpp"
#include "fuzz.hpp"
#include "scdb/macros.hpp"
#include "scdb/session.hpp"

// Every macro of the library with arbitrary parameters, directions and units, on a machine that answers anything or
// nothing.  Each area is alone and as large as the catalogue says that the macro needs.

namespace {

using scdb::Outcome;
using scdb::Reason;

/// Calls after which every further one fails: also a search that waits for an answer that never comes ends then.
constexpr unsigned MOST_CALLS = 2000;

/// A machine that has every chip, register, ring and device, and answers as the input has it: with what was written
/// there, with words of its own, or not at all.
class AnyMachine : public scdb::Machine {
 public:
  explicit AnyMachine(fuzz::Input &input) : input_{input}, seed_{input.raw_word()} {}

  [[nodiscard]] std::string name() const override { return "any machine"; }
  [[nodiscard]] bool simulated() const override { return true; }
  [[nodiscard]] std::vector<scdb::Chip> chips() const override { return {}; }
  [[nodiscard]] bool has(scdb::Chip /*chip*/) const override { return true; }

  Outcome jtag(std::span<const scdb::Chip> /*chips*/, scdb::JtagAccess access, unsigned code,
               macro_word &word) override {
    if (access == scdb::JtagAccess::read)
      word = answer(registers_[code]);
    else
      // What is written to a code is often read from the next one.
      registers_[code] = registers_[(code + 1) & 0xFF] = word;
    return acknowledge();
  }

  /// Mostly short: what lies behind the end of a ring in the buffer stays as it was, which is as arbitrary.
  [[nodiscard]] std::size_t ring_bits(scdb::Chip /*chip*/, unsigned ring) const override {
    switch (seed_ & 7) {
      case 0:
        return (seed_ ^ ring * 0x9E3779B1) % (SCANBUFFER_WORDS * 32 + 2);
      case 1:
        return 37'707;
      default:
        return 1000;
    }
  }
  Outcome read_ring(std::span<const scdb::Chip> /*chips*/, unsigned ring, std::span<macro_word> words) override {
    const std::vector<macro_word> &kept = rings_[ring];
    if (kept.size() == words.size())
      std::ranges::copy(kept, words.begin());
    else
      std::ranges::fill(words, input_.raw_word());
    return acknowledge();
  }
  Outcome write_ring(std::span<const scdb::Chip> /*chips*/, unsigned ring, std::span<const macro_word> words) override {
    rings_[ring].assign(words.begin(), words.end());
    return acknowledge();
  }

  Outcome i2c(std::span<const scdb::Chip> /*chips*/, scdb::Direction direction, macro_word /*port*/, unsigned device,
              unsigned /*mode*/, std::span<macro_word> words, unsigned /*bytes*/) override {
    for (macro_word &word : words)
      access(direction, devices_[device], word);
    return acknowledge();
  }
  Outcome mbc(std::span<const scdb::Chip> /*chips*/, scdb::Direction direction, macro_word /*bank*/, macro_word address,
              unsigned /*bytes*/, macro_word &word) override {
    access(direction, devices_[address & 0xFF], word);
    return acknowledge();
  }

  // Macros outside the library are the default machine's.
  [[nodiscard]] bool offers(macro_word number) const override { return firmware().offers(number); }
  Outcome nested(const scdb::NestedCall &call) override {
    const Outcome outcome = acknowledge();
    return outcome.ok() ? firmware().nested(call) : outcome;
  }

 private:
  macro_word answer(macro_word written) {
    switch (const std::uint8_t kind = input_.byte(); kind % 8) {
      case 0:
      case 1:
      case 2:
        return written;
      case 3:
        return written ^ macro_word { 1 } << (kind / 8);
      case 4:
        return (kind & 8) != 0 ? MACRO_ALL : 0;
      default:
        return input_.word();
    }
  }
  void access(scdb::Direction direction, macro_word &cell, macro_word &word) {
    if (direction == scdb::Direction::read)
      word = answer(cell);
    else
      cell = word;
  }
  [[nodiscard]] Outcome acknowledge() {
    return input_.rarely(128) ? Outcome::failure(Reason::no_acknowledge) : Outcome::success();
  }
  [[nodiscard]] scdb::Machine &firmware() const {
    static const std::unique_ptr<scdb::Machine> server = scdb::open_machine("default");
    if (!firmware_)
      firmware_ = server->copy();
    return *firmware_;
  }

  fuzz::Input &input_;
  macro_word seed_;
  std::array<macro_word, 256> registers_{};
  std::array<macro_word, 256> devices_{};
  std::array<std::vector<macro_word>, 256> rings_;
  mutable std::unique_ptr<scdb::Machine> firmware_;
};

/// Ends a run that makes too many calls.
class Limit : public scdb::Observer {
 public:
  Reason before(const scdb::Call & /*call*/) override {
    return ++calls_ > MOST_CALLS ? Reason::interrupted : Reason::none;
  }

 private:
  unsigned calls_ = 0;
};

struct Row {
  const scdb::Macro *macro;
  engine::MacroEntry entry;
};

/// Every macro, with what the catalogue says of it.
std::vector<Row> every_macro() {
  scdb::load_macro_library(MACRO_LIBRARY);
  std::vector<Row> rows;
  for (const auto &family : engine::Catalogue({}).families())
    for (const engine::MacroEntry &entry : family->macros)
      rows.push_back({scdb::find_macro(entry.name), entry});
  fuzz::require(rows.size() == scdb::macros().size(), "every macro has its entry");
  return rows;
}

const Row *row_of(const std::vector<Row> &rows, const scdb::Macro *macro) {
  const auto found = std::ranges::find(rows, macro, &Row::macro);
  return found == rows.end() ? nullptr : &*found;
}

/// Words of _DATA that the macro may use.  What a direction does that it does not list can be anything.
std::size_t data_words(const engine::MacroEntry &entry, macro_word rw, std::span<const macro_word> para) {
  const std::optional<std::size_t> words = engine::Arguments{entry, rw, para}.area_words();
  return std::min(words.value_or(engine::DEFAULT_DATA_WORDS), engine::DEFAULT_DATA_WORDS);
}

/// A macro that calls the one that its parameters name has two words of its own for that one's results: the host lets
/// it call none that gives more.
bool calls_too_much(const std::vector<Row> &rows, const engine::MacroEntry &entry, macro_word rw,
                    std::span<const macro_word> para) {
  const engine::Arguments arguments{entry, rw, para};
  return std::ranges::any_of(entry.parameters, [&](const engine::Parameter &parameter) {
    const Row *const called =
        parameter.calls ? row_of(rows, scdb::find_macro(arguments.value(parameter.name))) : nullptr;
    return called != nullptr && data_words(called->entry, parameter.calls->rw, para) > parameter.calls->data_words;
  });
}

/// Mostly a unit that the macro is made for.
struct UnitWords {
  UnitWords(fuzz::Input &input, scdb::ChipKind kind) {
    const bool fitting = !input.rarely(8);
    type = fitting ? scdb::unit_type_of(kind) : input.one_of(scdb::UNIT_TYPES).number;
    number = fitting ? 1 + input.byte() % 15U : input.word();
    const macro_word pattern = fitting ? scdb::chip_mask(kind) : input.raw_word();
    for (macro_word &word : mring)
      word = input.rarely(4) ? input.word() : pattern;
  }
  macro_word type;
  macro_word number;
  std::array<macro_word, MRING_WORDS> mring{};
};

/// Mostly what the parameter takes.
macro_word para_word(fuzz::Input &input, const engine::Parameter &parameter) {
  if (!parameter.values.empty() && !input.rarely(8))
    return parameter.values[input.byte() % parameter.values.size()].value;
  return input.word();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  static const std::vector<Row> rows = every_macro();
  static fuzz::Area data_area{"_DATA", engine::DEFAULT_DATA_WORDS};
  static fuzz::Area err_area{"_ERR", ERROR_RECORD_WORDS};
  static fuzz::Area exp_area{"_EXP", engine::EXP_WORDS};
  constexpr macro_word BACKGROUND = 0x5A5A5A5A;

  fuzz::Input input{{bytes, size}};
  const auto &[macro, entry] = rows[input.byte() % rows.size()];
  const UnitWords unit{input, entry.unit};
  const macro_word rw = entry.directions.empty() || input.rarely(8)
                            ? input.word()
                            : entry.directions[input.byte() % entry.directions.size()].rw;

  // Read-only for the macro.
  fuzz::Area para_area{"_PARA", engine::LEAST_PARA_WORDS, engine::AreaUse::read};
  fuzz::Area mring_area{"_MRING", MRING_WORDS, engine::AreaUse::read};
  const std::span<macro_word> para = para_area.own(engine::LEAST_PARA_WORDS);
  for (const engine::Parameter &parameter : entry.parameters)
    if (parameter.word < para.size()) {
      macro_word &word = para[parameter.word];
      word = parameter.bits.put(word, para_word(input, parameter));
    }
  std::ranges::copy(unit.mring, mring_area.own(MRING_WORDS).begin());
  if (calls_too_much(rows, entry, rw, para))
    return 0;

  const std::size_t words = data_words(entry, rw, para);
  macro_word *const data = data_area.begin(words);
  const macro_word pattern = input.raw_word();
  for (std::size_t i = 0; i < words; ++i)
    data[i] = pattern ^ static_cast<macro_word>(i);
  macro_word *const err = err_area.begin(ERROR_RECORD_WORDS);
  std::fill_n(err, ERROR_RECORD_WORDS, BACKGROUND);
  macro_word *const exp = exp_area.begin(engine::EXP_WORDS);
  std::fill_n(exp, engine::EXP_WORDS, pattern);

  std::ranges::fill(_SCANBUFFER, pattern);
  std::ranges::fill(_SCANBUFFER1, ~pattern);
  Limit limit;
  const scdb::Observing observing{limit};
  const scdb::Substitute substitute{std::make_unique<AnyMachine>(input)};
  scdb::begin_run();
  macro->entry(unit.type, unit.number, mring_area.begin(MRING_WORDS), rw, para_area.begin(engine::LEAST_PARA_WORDS),
               data, err, exp);

  fuzz::require(_RETURN != MACRO_FAILED || err[0] != BACKGROUND, "a failure is recorded");
  scdb::forget_open_rings();
  return 0;
}
