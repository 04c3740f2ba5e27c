#include <fmt/format.h>

#include "machines/simulated/chip.hpp"

namespace simulated {
namespace {

using scdb::Reason;

constexpr unsigned COMMAND_WORD = 3;

/// The bridge behind which the controller's registers lie: one address for its phases, one for their words, and a
/// buffer with the line that was read last.
constexpr unsigned LANES = 4;
constexpr I2cDevice PHASE{.name = "bridge phase", .first = 0xBC, .mode = COMMAND_WORD, .readable = false, .reset = 0};
constexpr I2cDevice WORD{.name = "bridge word", .first = 0xBD, .mode = COMMAND_WORD, .readable = false, .reset = 0};
constexpr I2cDevice LINE{.name = "bridge line",
                         .first = 0xBE,
                         .bytes = 4 * LANES,
                         .mode = COMMAND_WORD,
                         .reset = 0,
                         .note = "the line that was read last"};

// Phase words.  Bit 30 is the port.
constexpr macro_word CLOSE = 0;
constexpr macro_word OPEN = 0x90000000;
constexpr macro_word DATA = 0xA0000000;
constexpr unsigned PORT_BIT = 30;

// Address words: the first has the port in bit 31, the operation below it and address bits 6-23 in place; the second
// has the unit in bits 16-30, address bits 24-31 in bits 8-15 and address bits 4-5 in bits 6-7.
constexpr unsigned ADDRESS_WORDS = 2;
constexpr macro_word READ = 0x7A;
constexpr macro_word WRITE = 0x78;
constexpr macro_word ADDRESS_MIDDLE = 0x00FFFFC0;
constexpr macro_word FREE_BITS_1 = 0x0000003F;
constexpr macro_word FREE_BITS_2 = 0x8000003F;

/// Registers behind a port: lines of four 32-bit lanes, addressed in bytes.
struct Window {
  std::string_view name;
  macro_word unit;
  macro_word address;
};
constexpr macro_word WINDOW_BYTES = 0x100;
constexpr macro_word LINE_BYTES = 4 * LANES;
constexpr Window WINDOWS[] = {
    {"hub", 0x0000, 0x00000000},
    {"link", 0x0001, 0x00FC5A00},
    {"bus 1", 0x2AAA, 0xA5000000},
    {"bus 2", 0x7FFF, 0xFFFFFF00},
};
constexpr unsigned PORTS = 2;

class IoController final : public ChipModel {
 public:
  explicit IoController(const ChipSetup &setup)
      : ChipModel{setup}, phase_word_{add(PHASE)}, word_{add(WORD)}, line_{add(LINE)} {
    Layout progress = register_layout("bridge progress", PROGRESS_WORDS, "where the bridge is in its sequence");
    progress.reset = 0;
    progress_ = state().add(std::move(progress));
    for (unsigned port = 0; port < PORTS; ++port)
      for (std::size_t i = 0; i < std::size(WINDOWS); ++i)
        windows_[port][i] = state().add(array_layout(fmt::format("port {} {}", port, WINDOWS[i].name),
                                                     WINDOW_BYTES / LINE_BYTES, LANES, "registers behind the bridge"));
  }

  [[nodiscard]] std::unique_ptr<ChipModel> clone() const override { return std::make_unique<IoController>(*this); }

 private:
  /// Words of the bridge's memory.
  enum Progress : std::size_t { STAGE, PORT, COUNT, OPERATION, ADDRESS, WINDOW, BYTE_MASK, PROGRESS_WORDS };
  enum Stage : macro_word { IDLE, ADDRESSING, DATA_STAGE };

  [[nodiscard]] macro_word get(Progress what) const { return state().cells()[progress_].get(what); }
  void set(Progress what, macro_word word) { state().write(progress_, what, word); }

  Reason device_written(unsigned device, unsigned /*instance*/) override {
    switch (device) {
      case PHASE.first:
        return enter(state().read(phase_word_, 0));
      case WORD.first:
        return take(state().read(word_, 0));
      default:
        return Reason::none;
    }
  }

  /// A phase word.  One that does not fit is not acknowledged.
  Reason enter(macro_word word) {
    const macro_word port = word >> PORT_BIT & 1;
    const macro_word phase = word & ~(macro_word{1} << PORT_BIT);
    if (word == CLOSE) {
      set(STAGE, IDLE);
    } else if (phase == OPEN && get(STAGE) == IDLE) {
      set(STAGE, ADDRESSING);
      set(PORT, port);
    } else if (phase == DATA && get(STAGE) == ADDRESSING && get(COUNT) == ADDRESS_WORDS && get(PORT) == port) {
      set(STAGE, DATA_STAGE);
    } else {
      return Reason::no_acknowledge;
    }
    set(COUNT, 0);
    return Reason::none;
  }

  /// A word of the present phase.
  Reason take(macro_word word) {
    const macro_word count = get(COUNT);
    set(COUNT, count + 1);
    switch (get(STAGE)) {
      case ADDRESSING:
        if (count == 0)
          return take_command(word);
        return count == 1 ? take_address(word) : Reason::no_acknowledge;
      case DATA_STAGE:
        if (count == 0)
          return take_mask(word);
        return get(OPERATION) == WRITE && count <= LANES ? write_lane(count - 1, word) : Reason::no_acknowledge;
      default:
        return Reason::no_acknowledge;
    }
  }

  Reason take_command(macro_word word) {
    const macro_word operation = word >> 24 & 0x7F;
    if (word >> 31 != get(PORT) || (word & FREE_BITS_1) != 0 || (operation != READ && operation != WRITE))
      return Reason::no_acknowledge;
    set(OPERATION, operation);
    set(ADDRESS, word & ADDRESS_MIDDLE);
    return Reason::none;
  }

  Reason take_address(macro_word word) {
    if ((word & FREE_BITS_2) != 0)
      return Reason::no_acknowledge;
    const macro_word address = get(ADDRESS) | (word & 0xFF00) << 16 | (word >> 6 & 3) << 4;
    for (std::size_t i = 0; i < std::size(WINDOWS); ++i)
      if (WINDOWS[i].unit == word >> 16 && address - WINDOWS[i].address < WINDOW_BYTES) {
        set(WINDOW, static_cast<macro_word>(i));
        set(ADDRESS, address - WINDOWS[i].address);
        return Reason::none;
      }
    return Reason::no_register;
  }

  /// One bit for each byte of the line, the first lane's in bits 28-31; the lower half is free.  A read fetches these
  /// bytes.
  Reason take_mask(macro_word word) {
    if ((word & 0xFFFF) != 0)
      return Reason::no_acknowledge;
    set(BYTE_MASK, word >> 16);
    if (get(OPERATION) == READ)
      for (unsigned lane = 0; lane < LANES; ++lane)
        state().write(line_, lane, state().read(window(), register_of(lane)) & bytes_of(lane));
    return Reason::none;
  }

  Reason write_lane(unsigned lane, macro_word word) {
    const macro_word bytes = bytes_of(lane);
    if (bytes != 0) {
      const macro_word others = state().cells()[window()].get(register_of(lane)) & ~bytes;
      state().write(window(), register_of(lane), others | (word & bytes));
    }
    return Reason::none;
  }

  [[nodiscard]] State::Id window() const { return windows_[get(PORT)][get(WINDOW)]; }
  [[nodiscard]] std::size_t register_of(unsigned lane) const { return get(ADDRESS) / 4 + lane; }

  /// The bytes of a lane that the mask selects.
  [[nodiscard]] macro_word bytes_of(unsigned lane) const {
    macro_word bytes = 0;
    for (unsigned byte = 0; byte < 4; ++byte)
      if ((get(BYTE_MASK) << (4 * lane + byte) & 0x8000) != 0)
        bytes |= 0xFF000000 >> 8 * byte;
    return bytes;
  }

  State::Id phase_word_;
  State::Id word_;
  State::Id line_;
  State::Id progress_ = 0;
  std::array<std::array<State::Id, std::size(WINDOWS)>, PORTS> windows_{};
};

}  // namespace

constinit const Blueprint IO_CONTROLLER{.build = [](const ChipSetup &setup) -> std::unique_ptr<ChipModel> {
  return std::make_unique<IoController>(setup);
}};

}  // namespace simulated
