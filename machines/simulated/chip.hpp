#pragma once

#include <array>
#include <bitset>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "machines/simulated/chip_state.hpp"

/// The frame of the simulated chips.  A kind of chip is one source file: a class derived from ChipModel that declares
/// its registers, rings and memories in its constructor and overrides the hooks behind which its logic stands, and a
/// Blueprint that the server builds it from.
namespace simulated {

/// Codes of JTAG instructions are 0 to 0xFF; this stands for none.
inline constexpr unsigned NO_CODE = 0x100;

/// A run of data registers behind consecutive JTAG instruction codes.
struct JtagRegister {
  std::string_view name;
  unsigned read = NO_CODE;   ///< instruction that reads the first register
  unsigned write = NO_CODE;  ///< instruction that writes it
  unsigned count = 1;
  macro_word mask = MACRO_ALL;
  std::optional<macro_word> reset = {};
  std::string_view note = {};
};

/// A run of devices on the chip's I2C bus, or of registers in its I2C register file.
struct I2cDevice {
  std::string_view name;
  unsigned first;  ///< device number of the first
  unsigned count = 1;
  unsigned bytes = 4;    ///< how much each holds
  unsigned mode = 0;     ///< the one transfer mode that it takes; 0 = any
  macro_word ports = 0;  ///< port bits, each of which selects an instance; 0 = one instance, at the chip's own port
  bool readable = true;  ///< whether it answers reads
  std::optional<macro_word> reset = {};
  std::string_view note = {};
};

/// Scan rings of one length with consecutive codes.
struct RingRange {
  unsigned first;
  unsigned last;
  std::size_t bits;
};

/// A number in the description that a kind of chip takes.
struct ChipParameter {
  std::string_view name;
  std::int64_t least;
  std::int64_t most;
  std::int64_t usual;
};

/// What a chip is built from.
struct ChipSetup {
  scdb::Chip chip{};
  macro_word seed = 0;
  std::map<unsigned, std::size_t> rings;  ///< ring code and length in bits
  std::map<std::string, std::int64_t, std::less<>> parameters;

  [[nodiscard]] std::int64_t parameter(std::string_view name) const { return parameters.find(name)->second; }
};

/// A simulated chip: its state, the faults it has, and the ways in from outside.
class ChipModel {
 public:
  virtual ~ChipModel();
  ChipModel &operator=(const ChipModel &) = delete;

  [[nodiscard]] virtual std::unique_ptr<ChipModel> clone() const = 0;
  [[nodiscard]] scdb::Chip where() const { return where_; }
  [[nodiscard]] State &state() { return state_; }
  [[nodiscard]] const State &state() const { return state_; }
  /// Tells the chip what time it is, in microseconds since power-on.
  void set_time(std::uint64_t now) { now_ = now; }

  // The ways in, one for each call of scdb::Machine.  Faults are met here.
  scdb::Outcome jtag(scdb::JtagAccess access, unsigned code, macro_word &word);
  [[nodiscard]] std::size_t ring_bits(unsigned ring) const;
  scdb::Outcome read_ring(unsigned ring, std::span<macro_word> words);
  scdb::Outcome write_ring(unsigned ring, std::span<const macro_word> words);
  scdb::Outcome i2c(scdb::Direction direction, macro_word port, unsigned device, unsigned mode,
                    std::span<macro_word> words, unsigned bytes);
  scdb::Outcome mbc(scdb::Direction direction, macro_word bank, macro_word address, unsigned bytes, macro_word &word);
  scdb::Outcome nested(const scdb::NestedCall &call);

  /// How many bits an access to a place carries; 0 where the chip has no such place.
  [[nodiscard]] std::size_t bits_at(PlaceKind place, macro_word code) const;

 protected:
  explicit ChipModel(const ChipSetup &setup);
  ChipModel(const ChipModel &) = default;

  // For constructors.  The rings are there already.
  State::Id add(const JtagRegister &row);
  State::Id add(const I2cDevice &row);
  void add_instruction(unsigned code) { instructions_.set(code); }

  [[nodiscard]] std::uint64_t now() const { return now_; }

  // The chip's logic.  A reason other than none makes the access fail.
  /// An instruction is about to read its register.
  [[nodiscard]] virtual scdb::Reason before_read(unsigned code);
  /// An instruction has written its register.
  [[nodiscard]] virtual scdb::Reason after_write(unsigned code, macro_word word);
  /// An instruction was issued without data.
  [[nodiscard]] virtual scdb::Reason instructed(unsigned code);
  /// A device is about to be read.  @param instance number of the port bit among the device's ports.
  [[nodiscard]] virtual scdb::Reason before_device_read(unsigned device, unsigned instance);
  /// A ring was written.
  virtual void ring_written(unsigned ring);
  /// A device was written.  @param instance number of the port bit among the device's ports.
  [[nodiscard]] virtual scdb::Reason device_written(unsigned device, unsigned instance);
  /// Maintenance-bus access; by default there is no such bus.
  [[nodiscard]] virtual scdb::Reason access_mbc(scdb::Direction direction, macro_word bank, macro_word address,
                                                unsigned bytes, macro_word &word);
  [[nodiscard]] virtual bool has_mbc(macro_word address) const;
  /// A macro that the blueprint lists, called for this chip.
  [[nodiscard]] virtual scdb::Reason run_nested(const scdb::NestedCall &call);

 private:
  /// The register behind an instruction.
  struct Register {
    State::Id cells = 0;
    std::size_t index = 0;
    bool present = false;
  };
  struct Device {
    unsigned number = 0;
    State::Id cells = 0;
    std::size_t index = 0;  ///< the entry of its first instance
    std::size_t words = 0;  ///< of an entry
    I2cDevice row;
  };

  [[nodiscard]] scdb::Outcome outcome(scdb::Reason reason) const;
  [[nodiscard]] scdb::Reason jtag_read(unsigned code, macro_word &word);
  [[nodiscard]] scdb::Reason jtag_write(unsigned code, macro_word word, bool lost);
  [[nodiscard]] scdb::Reason transfer(const Device &device, scdb::Direction direction, macro_word port, unsigned mode,
                                      std::span<macro_word> words, unsigned bytes, bool lost);

  scdb::Chip where_;
  std::uint64_t now_ = 0;
  State state_;
  std::array<Register, 256> readable_{};
  std::array<Register, 256> writable_{};
  std::bitset<256> instructions_;
  bool has_jtag_ = false;
  std::map<unsigned, State::Id> rings_;
  std::map<unsigned, Device> devices_;
};

/// How the server builds the chips of one kind.
struct Blueprint {
  std::unique_ptr<ChipModel> (*build)(const ChipSetup &setup);
  std::span<const RingRange> rings = {};
  std::span<const ChipParameter> parameters = {};
  std::span<const macro_word> nested = {};  ///< numbers of the macros that chips of this kind offer
  /// Called before the chips that such a macro is meant for: sets result words to what they are without any chip, and
  /// says whether there may be none.
  bool (*prepare_nested)(const scdb::NestedCall &call) = nullptr;
};

extern const Blueprint CPU_CHIP;
extern const Blueprint MEMORY_CONTROLLER;
extern const Blueprint SYSTEM_CONTROLLER;
extern const Blueprint CROSSBAR;
extern const Blueprint IO_CONTROLLER;
extern const Blueprint SERVICE_PROCESSOR;

[[nodiscard]] const Blueprint &blueprint(scdb::ChipKind kind);

}  // namespace simulated
