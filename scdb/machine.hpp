#pragma once

#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "scdb/export.hpp"
#include "scdb/failure.hpp"
#include "scdb/units.hpp"

namespace scdb {

/// What a JTAG instruction does with the data register.
enum class JtagAccess : std::uint8_t { read = 0, write = 1, instruct = 2 };

/// Which way a transfer goes, with the primitives' own numbers.
enum class Direction : std::uint8_t { read = 1, write = 2 };

/// A macro that lies outside the macro library and is offered by the machine under its test number.
/// `para`, `data`, `err` and `exp` may be null; an implementation fails with Reason::null_pointer when it needs one.
struct NestedCall {
  macro_word number = 0;
  macro_word rw = 0;
  Unit unit;
  const macro_word *para = nullptr;
  macro_word *data = nullptr;
  macro_word *err = nullptr;
  macro_word *exp = nullptr;
};

/// Something that people can look at: what a chip consists of, for listings.
struct Part {
  enum class Kind : std::uint8_t { ring, array, registers };
  Kind kind = Kind::ring;
  std::string name;         ///< "ring 60", "array l1 tag"
  unsigned ring = 0;        ///< ring code, for a ring
  std::size_t entries = 0;  ///< bits of a ring, entries of an array, registers of a bank
  std::string note;         ///< one line of help, may be empty
};

/// A machine behind the primitives: the one narrow interface through which every access reaches the hardware.
///
/// All calls come from one thread.  Chips are resolved before a call: a list is never empty, holds one kind of chip,
/// has no duplicates, and every chip in it exists.  A read over several chips gives the OR of their answers.  A call
/// that fails names the reason and, where one chip is to blame, the chip; chips before it in the list have then been
/// accessed, those after it have not.  What a machine lacks it answers with "unsupported", never with success: that is
/// what every default implementation here does.  Implementations do not throw.
class SCDB_API Machine {
 public:
  Machine() = default;
  virtual ~Machine();
  Machine(const Machine &) = delete;
  Machine &operator=(const Machine &) = delete;

  /// The machine's name for people, for example "two-board server".
  [[nodiscard]] virtual std::string name() const = 0;
  /// Whether it is a simulation.
  [[nodiscard]] virtual bool simulated() const = 0;
  /// Every chip there is, in ascending order.
  [[nodiscard]] virtual std::vector<Chip> chips() const = 0;
  /// Whether this chip exists, dead or alive.
  [[nodiscard]] virtual bool has(Chip chip) const = 0;
  /// Whether groups of several chips can be addressed at once.
  [[nodiscard]] virtual bool can_broadcast() const { return true; }
  /// What a chip consists of; empty where the machine does not know.
  [[nodiscard]] virtual std::vector<Part> parts(Chip chip) const;

  /// One JTAG instruction.  @param code 0 to 0xFF.  @param word the word written, or receives the word read.
  virtual Outcome jtag(std::span<const Chip> chips, JtagAccess access, unsigned code, macro_word &word);

  /// Length of a ring in bits, the same on every chip of a kind; 0 where there is no such ring.
  [[nodiscard]] virtual std::size_t ring_bits(Chip chip, unsigned ring) const;
  /// Reads a whole ring: bit p is bit p % 32, counted from the most significant, of word p / 32.
  /// @param words as many words as ring_bits() needs; bits after the last ring bit are set to 0.
  virtual Outcome read_ring(std::span<const Chip> chips, unsigned ring, std::span<macro_word> words);
  /// Writes a whole ring; bits after the last ring bit are ignored.
  virtual Outcome write_ring(std::span<const Chip> chips, unsigned ring, std::span<const macro_word> words);

  /// One I2C transfer.  @param port port mask, MACRO_ALL for the chip's own.  @param device 0 to 0xFF.
  /// @param mode 2 or 3.  @param words the transfer's bytes, four to a word, the first byte most significant.
  /// @param bytes length, 1 to 4 * words.size().
  virtual Outcome i2c(std::span<const Chip> chips, Direction direction, macro_word port, unsigned device, unsigned mode,
                      std::span<macro_word> words, unsigned bytes);

  /// One maintenance-bus register.  @param bank 0 is the controller's own.  @param bytes 1, 2 or 4, right-aligned.
  virtual Outcome mbc(std::span<const Chip> chips, Direction direction, macro_word bank, macro_word address,
                      unsigned bytes, macro_word &word);

  /// Lets time pass.  @param microseconds a simulated machine advances its clock and does not sleep.
  virtual void wait(macro_word microseconds);

  /// Whether the machine offers a macro under this number.
  [[nodiscard]] virtual bool offers(macro_word number) const;
  /// Runs it.
  virtual Outcome nested(const NestedCall &call);

  /// An independent copy with the same state, for dry runs; null where the machine cannot be copied.
  [[nodiscard]] virtual std::unique_ptr<Machine> copy() const;
  /// Its whole state as text, and back; nullopt where it has none to give.  load_state() throws MachineError and leaves
  /// the machine as it was when the text does not fit this machine.
  [[nodiscard]] virtual std::optional<std::string> save_state() const;
  virtual void load_state(std::string_view text);
};

/// A machine that cannot be had: its description does not exist or says something wrong.  what() is one line for
/// people, with file, line and column where there are such.
class [[nodiscard]] SCDB_API MachineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  MachineError(const MachineError &) = default;
  MachineError &operator=(const MachineError &) = default;
  ~MachineError() override;
};

/// Opens a machine.  Whatever machine the library is built with supplies this function.
/// @param description name of a built-in description or path of a file; empty for the built-in "default".
/// @throw MachineError
[[nodiscard]] SCDB_API std::unique_ptr<Machine> open_machine(const std::string &description);

/// The names under which open_machine() knows descriptions that are built in, in ascending order.
[[nodiscard]] SCDB_API std::vector<std::string> built_in_machines();

/// Opens a machine from the text of a description.  @param origin what error messages call the text.
/// @throw MachineError
[[nodiscard]] SCDB_API std::unique_ptr<Machine> open_machine_text(std::string_view text, const std::string &origin);

}  // namespace scdb
