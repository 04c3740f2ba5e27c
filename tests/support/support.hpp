#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "libscfjtag.h"
#include "macrodebug.h"
#include "scdb/machine.hpp"
#include "scdb/observer.hpp"
#include "scdb/session.hpp"

/// What tests of macros share: unit words, a recorder of primitive calls, a machine that answers as told, and a runner.
namespace support {

using Lines = std::vector<std::string>;
using Words = std::vector<macro_word>;
using Record = std::array<macro_word, ERROR_RECORD_WORDS>;

/// Lines and the lines after them.
[[nodiscard]] Lines operator+(Lines lines, const Lines &more);

/// The unit words of a run.
struct UnitWords {
  macro_word type = 0;
  macro_word number = 0;
  std::array<macro_word, MRING_WORDS> mring{};
};

/// One chip.
[[nodiscard]] UnitWords one_chip(scdb::ChipKind kind, unsigned board = 0, unsigned chip = 0);
/// All chips of a kind that the attached machine has.
[[nodiscard]] UnitWords all_chips(scdb::ChipKind kind);

/// A primitive call as one line.  Numbers are hexadecimal; what is the same in every call of a macro (triple of three
/// MACRO_ALL, count 1, trailing 1, the run's own unit words) is left out and shows only when it differs:
///
///   write B0 60000000 | read B1 | instruct D8 | mjtag BA 10000000 | mjtag BA C0000000 [FFFFFFFF 2 FFFFFFFF] | bcast
///   open 3C | fetch 3C | store 3C | close 3C            (lmcr_scan modes 128, 0, 1, 129)
///   sin VALUE MASK @ ADDRESS ... | sout MASK @ ADDRESS ... (single bits that count down as FIRST..LAST)
///   egen KIND SENSE | call RW NUMBER | i2c read 22 | i2c write 22 80000000 | i2c read 6 port 10 | wait A
///   mbc read BANK ADDRESS LENGTH | mbc write BANK ADDRESS LENGTH DATA
///
/// A nested macro's calls are indented by two blanks a level.
[[nodiscard]] std::string line_of(const scdb::Call &call, const UnitWords &unit);

/// An operand of a call by its name, MACRO_ALL where it has none of this name.
[[nodiscard]] macro_word operand(const scdb::Call &call, std::string_view name);

/// Records every primitive call but lmcr_shift, and can make one of them fail.
class Recorder : public scdb::Observer {
 public:
  explicit Recorder(const UnitWords &unit) : unit_{unit} {}

  /// Makes the call of this index fail, 0 being the first; lmcr_shift and lmcr_wait are not counted.
  void fail_call(std::size_t index) { failing_ = index; }

  scdb::Reason before(const scdb::Call &call) override;

  [[nodiscard]] const Lines &lines() const { return lines_; }

 private:
  UnitWords unit_;
  Lines lines_;
  std::size_t failable_ = 0;
  std::size_t failing_ = SIZE_MAX;
};

/// A machine that has every chip and answers as told.  Reads nobody answers give random words, so that a
/// read-modify-write proves that it keeps its neighbours.
class ScriptedMachine : public scdb::Machine {
 public:
  /// Answers of JTAG reads by code, I2C reads by device and maintenance-bus reads by address; the argument counts the
  /// reads so far of the same code.
  using Answer = std::function<macro_word(unsigned count)>;
  void on_jtag_read(unsigned code, Answer answer) { jtag_answers_[code & 0xFF] = std::move(answer); }
  void on_i2c_read(unsigned device, Answer answer) { i2c_answers_[device & 0xFF] = std::move(answer); }
  /// Called after each write of a ring, so that a test can let the chip act on it.
  std::function<void(unsigned ring, std::vector<macro_word> &words)> on_ring_write;
  /// Runs a macro that lies outside the library; the numbers it takes are those in `offered`.
  std::function<scdb::Outcome(const scdb::NestedCall &)> on_nested;
  std::vector<macro_word> offered;

  /// A ring's contents, random until written.
  std::vector<macro_word> &ring(unsigned code);

  [[nodiscard]] std::string name() const override { return "scripted machine"; }
  [[nodiscard]] bool simulated() const override { return true; }
  [[nodiscard]] std::vector<scdb::Chip> chips() const override;
  [[nodiscard]] bool has(scdb::Chip chip) const override;
  scdb::Outcome jtag(std::span<const scdb::Chip> chips, scdb::JtagAccess access, unsigned code,
                     macro_word &word) override;
  [[nodiscard]] std::size_t ring_bits(scdb::Chip chip, unsigned ring) const override;
  scdb::Outcome read_ring(std::span<const scdb::Chip> chips, unsigned code, std::span<macro_word> words) override;
  scdb::Outcome write_ring(std::span<const scdb::Chip> chips, unsigned code,
                           std::span<const macro_word> words) override;
  scdb::Outcome i2c(std::span<const scdb::Chip> chips, scdb::Direction direction, macro_word port, unsigned device,
                    unsigned mode, std::span<macro_word> words, unsigned bytes) override;
  scdb::Outcome mbc(std::span<const scdb::Chip> chips, scdb::Direction direction, macro_word bank, macro_word address,
                    unsigned bytes, macro_word &word) override;
  [[nodiscard]] bool offers(macro_word number) const override;
  scdb::Outcome nested(const scdb::NestedCall &call) override;

 private:
  macro_word random_word();
  std::array<Answer, 256> jtag_answers_;
  std::array<Answer, 256> i2c_answers_;
  std::array<unsigned, 256> jtag_reads_{};
  std::array<unsigned, 256> i2c_reads_{};
  std::array<std::vector<macro_word>, 256> rings_;
  std::uint64_t seed_ = 1;
};

/// What goes into a run.
struct RunInput {
  std::string macro = {};
  macro_word rw = 0;
  std::vector<macro_word> para = {};
  std::vector<macro_word> data = {};  ///< first words of _DATA; the others hold a background pattern
  std::size_t data_words = 64;        ///< size of _DATA, at least data.size()
  macro_word status = 0;              ///< what the status cell holds before the run
};

/// What came of it.
struct RunResult {
  int result = 0;
  macro_word status = 0;
  std::vector<macro_word> data;
  std::array<macro_word, ERROR_RECORD_WORDS> err{};
  std::vector<std::string> calls;

  /// Words of _DATA that differ from what they held before the run: their indices.
  std::vector<std::size_t> written;
};

/// The word that _DATA[i] holds before a run where the test has not said.
[[nodiscard]] constexpr macro_word background(std::size_t i) {
  return static_cast<macro_word>(0xA5000000U ^ (i * 0x9E3779B1U));
}
/// The word that each word of the error record holds before a run: what a macro did not write shows.
inline constexpr macro_word ERR_BACKGROUND = 0x5A5A5A5A;

/// Runs a macro of the library on the attached machine, recorded by `recorder`.  _PARA has 32 words, those after
/// `input.para` 0.  The words of _EXP are 16 and 0.  Checks that _PARA, _EXP and the words around
/// every area are left alone.
RunResult run_macro(const RunInput &input, const UnitWords &unit, Recorder &recorder);
RunResult run_macro(const RunInput &input, const UnitWords &unit);

/// Expects these calls of a run, these words from the start of _DATA with all others as they were, and this error
/// record, or one that was left alone.
void expect_run(const RunResult &run, const RunInput &input, const Lines &calls, const Words &data,
                const std::optional<Record> &record);

/// A parameter error's record: words 0, 5, 6 as given, and the named further words; all others untouched.
[[nodiscard]] std::array<macro_word, ERROR_RECORD_WORDS> refusal(
    macro_word subcode, macro_word value, const std::vector<std::pair<unsigned, macro_word>> &further = {});

/// Attaches a machine for the length of a scope.
template <class Machine>
class Attached {
 public:
  template <class... Arguments>
  explicit Attached(Arguments &&...arguments) {
    auto machine = std::make_unique<Machine>(std::forward<Arguments>(arguments)...);
    machine_ = machine.get();
    before_ = scdb::attach(std::move(machine));
  }
  ~Attached() { static_cast<void>(scdb::attach(std::move(before_))); }
  Attached(const Attached &) = delete;
  Attached &operator=(const Attached &) = delete;
  Machine *operator->() { return machine_; }
  Machine &operator*() { return *machine_; }

 private:
  Machine *machine_ = nullptr;
  std::unique_ptr<scdb::Machine> before_;
};

/// Attaches a machine made from a description's text for the length of a scope.
class Server {
 public:
  explicit Server(const std::string &description = R"(base = "default")");
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

 private:
  std::unique_ptr<scdb::Machine> before_;
};

}  // namespace support
