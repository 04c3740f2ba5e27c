#include <fmt/format.h>

#include "machines/simulated/chip.hpp"

namespace simulated {
namespace {

using scdb::Reason;

constexpr unsigned ENTRY_WORDS = 3;
constexpr unsigned ENTRIES = 512;

constexpr JtagRegister ACCESS{.name = "RAM access", .write = 0x88, .reset = 0};
constexpr JtagRegister READ_DATA{.name = "RAM read data", .read = 0x34, .count = ENTRY_WORDS, .reset = 0};
constexpr JtagRegister WRITE_DATA{.name = "RAM write data", .write = 0xB4, .count = ENTRY_WORDS, .reset = 0};

// An access word: what to do, the RAM's number and the entry's.
constexpr macro_word STORE = 0x80000000;
constexpr macro_word FETCH = 0x40000000;
constexpr macro_word RAM = 0x3FFF0000;
constexpr macro_word ENTRY = 0xFFFF;

struct RamRange {
  unsigned first;
  unsigned last;
};
constexpr RamRange RAMS[] = {{0x90, 0xD3}, {0xE0, 0xEB}};

// The links.  Port b of the crossbars leads to board b; its first side ends in that board's chip 0, its second side in
// chip 1.  Each chip looks after the link that ends in it, and the firmware's macros reach them all.
enum FirmwareMacro : macro_word {
  GET_MODE = 0x1480,
  SET_RATE = 0x1481,
  CALIBRATE = 0x1482,
  TRAIN = 0x1483,
  START = 0x1484,
  CLEAR_ERRORS = 0x1485,
  GET_STATUS = 0x1488,
  OPEN_PORTS = 0x148C,
};
constexpr macro_word FIRMWARE_MACROS[] = {GET_MODE, SET_RATE,     CALIBRATE,  TRAIN,
                                          START,    CLEAR_ERRORS, GET_STATUS, OPEN_PORTS};

// Bits of the link state, as the status word shows them.
constexpr macro_word TRAINED = 0x8000;
constexpr macro_word RUNNING = 0x0800;
constexpr macro_word ERROR_SEEN = 0x0100;

// Bits of the link setting.
constexpr macro_word CALIBRATED = 1;  ///< the drivers are tuned
constexpr macro_word COLD = 2;        ///< the rate was set: calibration must begin from scratch
constexpr macro_word RATE_SET = 4;

/// How the links come up, bits 22-23 of the status word.
constexpr unsigned MODE_SHIFT = 22;
constexpr std::int64_t RETRAINED = 1;   ///< training spoils the calibration
constexpr std::int64_t FIXED_RATE = 2;  ///< the rate is right from power-on

// Parameters of the firmware's macros.
constexpr macro_word FROM_SCRATCH = 0x80;                     ///< word 0
constexpr macro_word SECOND_SIDE = 0x00200000;                ///< word 1
constexpr macro_word SIDE_OPEN[] = {0x01000000, 0x02000000};  ///< a port's word: its sides that are to be used

constexpr ChipParameter PARAMETERS[] = {
    {"link", 0, 1, 1},
    {"link-mode", 0, 3, RETRAINED},
};

/// A port that no board is plugged into ends in its own terminator, and so does the side of a missing chip: they run.
bool prepare_firmware_macro(const scdb::NestedCall &call) {
  if (call.data != nullptr && call.number == GET_MODE)
    call.data[0] = 0;
  if (call.data != nullptr && call.number == GET_STATUS)
    call.data[0] = TRAINED | RUNNING;
  return call.number == GET_STATUS;
}

class Crossbar final : public ChipModel {
 public:
  explicit Crossbar(const ChipSetup &setup)
      : ChipModel{setup}, link_is_good_{setup.parameter("link") != 0}, link_mode_{setup.parameter("link-mode")} {
    add(ACCESS);
    read_data_ = add(READ_DATA);
    write_data_ = add(WRITE_DATA);
    for (const auto &[first, last] : RAMS)
      for (unsigned ram = first; ram <= last; ++ram)
        rams_[ram] = state().add(array_layout(fmt::format("RAM 0x{:02X}", ram), ENTRIES, ENTRY_WORDS, {}));
    link_ = add_register("link", TRAINED | RUNNING | ERROR_SEEN, 0, "state of the link that ends in this chip");
    link_setting_ = add_register("link setting", CALIBRATED | COLD | RATE_SET, 0, "how the link is set up");
    port_ = add_register("port", MACRO_ALL, SIDE_OPEN[0] | SIDE_OPEN[1], "the sides of the board's port that are used");
  }

  [[nodiscard]] std::unique_ptr<ChipModel> clone() const override { return std::make_unique<Crossbar>(*this); }

 private:
  Reason after_write(unsigned code, macro_word word) override {
    if (code != ACCESS.write || (word & (STORE | FETCH)) == 0)
      return Reason::none;
    const auto ram = rams_.find((word & RAM) >> 16);
    if (ram == rams_.end() || (word & ENTRY) >= ENTRIES)
      return Reason::no_entry;
    const std::size_t first = std::size_t{word & ENTRY} * ENTRY_WORDS;
    for (std::size_t i = 0; i < ENTRY_WORDS; ++i) {
      if ((word & STORE) != 0)
        state().write(ram->second, first + i, state().read(write_data_, i));
      else
        state().write(read_data_, i, state().read(ram->second, first + i));
    }
    return Reason::none;
  }

  State::Id add_register(std::string_view name, macro_word mask, macro_word reset, std::string_view note) {
    Layout layout = register_layout(name, 1, note);
    layout.mask = mask;
    layout.reset = reset;
    return state().add(std::move(layout));
  }

  [[nodiscard]] unsigned side() const { return where().number; }
  [[nodiscard]] macro_word link() { return state().read(link_, 0); }
  [[nodiscard]] macro_word setting() { return state().read(link_setting_, 0); }

  Reason run_nested(const scdb::NestedCall &call) override {
    switch (call.number) {
      case GET_MODE:
        if (call.data == nullptr)
          return Reason::null_pointer;
        call.data[0] |= static_cast<macro_word>(link_mode_) << MODE_SHIFT | link();
        return Reason::none;
      case SET_RATE:
        state().write(link_, 0, 0);
        state().write(link_setting_, 0, RATE_SET | COLD);
        return Reason::none;
      case CALIBRATE:
        if (call.para == nullptr)
          return Reason::null_pointer;
        calibrate((call.para[0] & FROM_SCRATCH) != 0);
        return Reason::none;
      case TRAIN:
        train();
        return Reason::none;
      case START:
        if ((link() & TRAINED) != 0 && (setting() & CALIBRATED) != 0)
          state().write(link_, 0, TRAINED | RUNNING | ERROR_SEEN);
        return Reason::none;
      case CLEAR_ERRORS:
        state().write(link_, 0, link() & ~ERROR_SEEN);
        return Reason::none;
      case GET_STATUS:
        if (call.para == nullptr || call.data == nullptr)
          return Reason::null_pointer;
        if (side() == ((call.para[1] & SECOND_SIDE) != 0 ? 1 : 0))
          call.data[0] = static_cast<macro_word>(link_mode_) << MODE_SHIFT | link();
        return Reason::none;
      case OPEN_PORTS:
        if (call.para == nullptr)
          return Reason::null_pointer;
        state().write(port_, 0, call.para[where().board]);
        return Reason::none;
      default:
        return Reason::no_macro;
    }
  }

  void calibrate(bool from_scratch) {
    if (from_scratch || (setting() & COLD) == 0)
      state().write(link_setting_, 0, (setting() & RATE_SET) | CALIBRATED);
  }

  /// The link comes up when its drivers are tuned, its rate is right, and the port's side is open.
  void train() {
    const bool right_rate = link_mode_ == FIXED_RATE || (setting() & RATE_SET) != 0;
    const bool open = (state().read(port_, 0) & SIDE_OPEN[side()]) != 0;
    const bool comes_up = link_is_good_ && right_rate && open && (setting() & CALIBRATED) != 0;
    state().write(link_, 0, comes_up ? TRAINED : 0);
    if (link_mode_ == RETRAINED)
      state().write(link_setting_, 0, setting() & ~CALIBRATED);
  }

  bool link_is_good_;
  std::int64_t link_mode_;
  State::Id link_ = 0;
  State::Id link_setting_ = 0;
  State::Id port_ = 0;
  State::Id read_data_ = 0;
  State::Id write_data_ = 0;
  std::map<macro_word, State::Id> rams_;
};

}  // namespace

constinit const Blueprint CROSSBAR{
    .build = [](const ChipSetup &setup) -> std::unique_ptr<ChipModel> { return std::make_unique<Crossbar>(setup); },
    .parameters = PARAMETERS,
    .nested = FIRMWARE_MACROS,
    .prepare_nested = prepare_firmware_macro};

}  // namespace simulated
