#include <algorithm>
#include <memory>
#include <string>

#include "fuzz.hpp"
#include "machine_macros.hpp"
#include "scdb/session.hpp"

// Arbitrary sequences of primitive calls with arbitrary arguments, on a machine with two chips of one kind.  Each
// area of a call is alone and as large as the call may use.

namespace {

constexpr unsigned MOST_CALLS = 64;
constexpr std::size_t MOST_WORDS = 2048;

/// Arguments of the calls of a run.
class Calls {
 public:
  Calls(fuzz::Input &input, scdb::ChipKind kind) : input_{input}, kind_{kind} {}

  /// Makes a call.
  void make() {
    ret_ = ret_area_.begin(1);
    *ret_ = 0;
    err_ = input_.rarely(8) ? nullptr : err_area_.begin(ERROR_RECORD_WORDS);
    choose_unit();
    constexpr std::array CALLS{&Calls::jtag, &Calls::jtag, &Calls::mjtag, &Calls::bcast, &Calls::scan,
                               &Calls::scan, &Calls::i2c,  &Calls::i2c,   &Calls::mbc,   &Calls::wait,
                               &Calls::pure, &Calls::ecc,  &Calls::call};
    (this->*CALLS[input_.byte() % CALLS.size()])();
  }

 private:
  void choose_unit() {
    type_ = input_.rarely(16) ? input_.word() : scdb::unit_type_of(kind_);
    number_ = input_.rarely(16) ? input_.word() : 1;
    mring_ = input_.rarely(32) ? nullptr : mring_area_.begin(MRING_WORDS);
    for (std::size_t i = 0; mring_ != nullptr && i < MRING_WORDS; ++i)
      mring_[i] = 0;
    if (mring_ != nullptr)
      mring_[0] = input_.rarely(16) ? input_.word() : scdb::chip_bit(kind_, 0) * (1 + input_.byte() % 3U);
  }
  [[nodiscard]] macro_word triple() { return input_.rarely(8) ? input_.word() : MACRO_ALL; }
  [[nodiscard]] macro_word one() { return input_.rarely(16) ? input_.word() : 1; }
  [[nodiscard]] macro_word code() { return input_.rarely(32) ? input_.word() : input_.byte(); }
  [[nodiscard]] macro_word direction() { return input_.rarely(16) ? input_.word() : 1 + input_.byte() % 2U; }
  /// An area of as many words as a valid call uses, and a word for one that is not.
  [[nodiscard]] macro_word *buffer(macro_word words) {
    if (input_.rarely(32))
      return nullptr;
    const std::size_t size = words == 0 || words > MOST_WORDS ? 1 : words;
    macro_word *const area = buffer_area_.begin(size);
    for (std::size_t i = 0; i < std::min<std::size_t>(size, 4); ++i)
      area[i] = input_.word();
    return area;
  }

  void jtag() {
    static_cast<void>(lmcr_jtag(triple(), triple(), triple(), input_.byte() % 4U, code(), input_.word(), one(), ret_,
                                err_, type_, number_, mring_));
  }
  void mjtag() {
    static_cast<void>(lmcr_mjtag(triple(), triple(), triple(), code(), input_.word(), one(), ret_, err_, type_, number_,
                                 mring_, one()));
  }
  void bcast() { static_cast<void>(lmcr_bcast(type_, number_, mring_)); }
  void scan() {
    static constexpr std::array<macro_word, 5> MODES{0, 1, 128, 129, 2};
    static_cast<void>(lmcr_scan(input_.one_of(MODES), triple(), triple(), triple(), code(), buffer(SCANBUFFER_WORDS),
                                one(), ret_, err_, type_, number_, mring_));
  }
  void i2c() {
    const macro_word length = input_.rarely(16) ? input_.word() : 1 + input_.byte() % 32U;
    static_cast<void>(lmcr_i2cctl(direction(), triple(), triple(), triple(), code(),
                                  buffer(length <= 4096 ? (length + 3) / 4 : 0), length, 2 + input_.byte() % 3U, ret_,
                                  err_, type_, number_, mring_));
  }
  void mbc() {
    static constexpr std::array<macro_word, 4> LENGTHS{1, 2, 4, 3};
    const macro_word count = input_.rarely(4) ? input_.word() : 1;
    static_cast<void>(lmcr_mbcreg(direction(), input_.rarely(4) ? 0 : MACRO_ALL, triple(), input_.word(), input_.word(),
                                  input_.one_of(LENGTHS), buffer(count <= 1024 ? count : 0), count, ret_, err_, type_,
                                  number_, mring_));
  }
  void wait() { lmcr_wait(input_.word()); }
  void pure() {
    macro_word *const result = result_area_.begin(1);
    static_cast<void>(lmcr_shift(input_.raw_word(), input_.word(), input_.word(), input_.word()));
    static_cast<void>(lmcr_pgen(input_.raw_word(), result, input_.byte() % 3U, ret_));
    static_cast<void>(lmcr_pchk(input_.raw_word(), result, input_.byte() % 3U, ret_));
  }
  void ecc() {
    const macro_word kind = input_.rarely(8) ? input_.word() : 1 + input_.byte() % 2U;
    const macro_word *const words = buffer(kind <= 2 ? kind : 1);
    macro_word *const result = input_.rarely(16) ? nullptr : result_area_.begin(1);
    const auto primitive = input_.rarely(2) ? lmcr_egen : lmcr_echk;
    static_cast<void>(primitive(kind, words, words, result, result, input_.byte() % 3U, ret_));
  }
  /// Macros that this machine offers, or another one; no macro library is loaded.
  void call() {
    static constexpr std::array<macro_word, 4> DIRECTIONS{1, 2, MACRO_ALL, 0};
    const fuzz::MachineMacro &macro = input_.one_of(fuzz::MACHINE_MACROS);
    macro_areas_.begin(macro, [this] { return input_.word(); });
    static_cast<void>(lmcr_maccall(type_, number_, mring_, input_.one_of(DIRECTIONS), macro.number,
                                   input_.rarely(16) ? nullptr : macro_areas_.para(),
                                   input_.rarely(16) ? nullptr : macro_areas_.data(), ret_, err_, nullptr));
  }

  fuzz::Input &input_;
  scdb::ChipKind kind_;
  macro_word type_ = 0;
  macro_word number_ = 0;
  macro_word *mring_ = nullptr;
  macro_word *ret_ = nullptr;
  macro_word *err_ = nullptr;
  static inline fuzz::Area ret_area_{"ret", 1};
  static inline fuzz::Area err_area_{"err", ERROR_RECORD_WORDS};
  static inline fuzz::Area mring_area_{"mring", MRING_WORDS};
  static inline fuzz::Area buffer_area_{"buffer", MOST_WORDS};
  static inline fuzz::Area result_area_{"result", 1};
  static inline fuzz::MacroAreas macro_areas_;
};

/// What a macro may use has to be known.
void check_macros_of(const scdb::Machine &machine) {
  for (macro_word number = 0x1000; number < 0x2000; ++number)
    fuzz::require(
        !machine.offers(number) || std::ranges::count(fuzz::MACHINE_MACROS, number, &fuzz::MachineMacro::number) == 1,
        "the words of every macro that a machine offers are known");
}

/// A machine for each kind of chip: copying it for a run costs the less the fewer chips there are.
using Machines = std::array<std::unique_ptr<scdb::Machine>, scdb::CHIP_KINDS.size()>;
Machines make_machines() {
  Machines machines;
  for (const scdb::ChipKindInfo &kind : scdb::CHIP_KINDS) {
    std::unique_ptr<scdb::Machine> &machine = machines[static_cast<std::size_t>(kind.kind)];
    machine = scdb::open_machine_text("name = \"fuzz\"\nboards = 1\n[chips]\n" + std::string{kind.name} + " = 2\n",
                                      "fuzz.toml");
    check_macros_of(*machine);
  }
  return machines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  static const Machines machines = make_machines();
  fuzz::Input input{{bytes, size}};
  const std::size_t kind = input.byte() % machines.size();
  const scdb::Substitute substitute{machines[kind]->copy()};
  Calls calls{input, static_cast<scdb::ChipKind>(kind)};
  for (unsigned i = 0; i < MOST_CALLS && !input.used_up(); ++i)
    calls.make();
  static_cast<void>(scdb::restore_open_rings());
  scdb::forget_open_rings();
  return 0;
}
