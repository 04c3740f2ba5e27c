#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz.hpp"
#include "machine_macros.hpp"
#include "scdb/session.hpp"

// Descriptions of machines.  One that is taken makes a machine that stands every kind of access at every place.

namespace {

using scdb::Direction;
using scdb::JtagAccess;

constexpr std::size_t LARGEST_BUFFER = SCANBUFFER_WORDS;

class Trial {
 public:
  explicit Trial(scdb::Machine &machine) : machine_{machine} {
    for (const fuzz::MachineMacro &macro : fuzz::MACHINE_MACROS)
      if (machine.offers(macro.number))
        offered_.push_back(macro);
  }

  void access(scdb::Chip chip) {
    const std::span<const scdb::Chip> chips{&chip, 1};
    for (unsigned code = 0; code < 0x100; ++code) {
      rings(chips, code);
      devices(chips, code);
    }
    for (const macro_word pattern : {macro_word{0}, MACRO_ALL}) {
      for (unsigned code = 0; code < 0x100; ++code) {
        macro_word word = pattern;
        for (const JtagAccess access : {JtagAccess::write, JtagAccess::instruct, JtagAccess::read})
          tried(machine_.jtag(chips, access, code, word));
      }
      for (const fuzz::MachineMacro &macro : offered_)
        call(chip, macro, pattern);
    }
    for (macro_word address = 0; address < 0x40000; address += 0x1FF) {
      macro_word word = address;
      for (const unsigned bytes : {1U, 2U, 4U})
        for (const Direction direction : {Direction::write, Direction::read})
          tried(machine_.mbc(chips, direction, address & 3, address, bytes, word));
    }
    machine_.wait(1'000'000);
  }

 private:
  /// Whether an access is refused is not asked here.
  static void tried(const scdb::Outcome & /*outcome*/) {}

  void rings(std::span<const scdb::Chip> chips, unsigned ring) {
    const std::size_t bits = machine_.ring_bits(chips[0], ring);
    fuzz::require(bits <= LARGEST_BUFFER * 32, "a ring fits into a scan buffer");
    if (bits == 0)
      return;
    const std::size_t words = (bits + 31) / 32;
    const std::span<macro_word> buffer{area_.begin(words), words};
    std::ranges::fill(buffer, MACRO_ALL);
    tried(machine_.write_ring(chips, ring, buffer));
    tried(machine_.read_ring(chips, ring, buffer));
  }
  void devices(std::span<const scdb::Chip> chips, unsigned device) {
    for (const unsigned bytes : {1U, 9U})
      for (const unsigned mode : {2U, 3U})
        for (const macro_word port : {MACRO_ALL, macro_word{1}}) {
          const std::size_t words = (bytes + 3) / 4;
          const std::span<macro_word> buffer{area_.begin(words), words};
          std::ranges::fill(buffer, MACRO_ALL);
          for (const Direction direction : {Direction::write, Direction::read})
            tried(machine_.i2c(chips, direction, port, device, mode, buffer, bytes));
        }
  }
  void call(scdb::Chip chip, const fuzz::MachineMacro &macro, macro_word pattern) {
    std::array<macro_word, MRING_WORDS> mring{};
    mring[chip.board] = scdb::chip_bit(chip.kind, chip.number);
    areas_.begin(macro, [pattern] { return pattern; });
    for (const macro_word rw : {macro_word{1}, macro_word{2}, MACRO_ALL})
      tried(machine_.nested({macro.number,
                             rw,
                             {scdb::unit_type_of(chip.kind), macro_word{1} << chip.board, mring.data()},
                             areas_.para(),
                             areas_.data(),
                             nullptr,
                             nullptr}));
  }

  scdb::Machine &machine_;
  std::vector<fuzz::MachineMacro> offered_;  ///< macros outside the library
  static inline fuzz::Area area_{"ring", LARGEST_BUFFER};
  static inline fuzz::MacroAreas areas_;
};

std::unique_ptr<scdb::Machine> open(std::string_view text) {
  try {
    return scdb::open_machine_text(text, "fuzz.toml");
  } catch (const scdb::MachineError &) {
    return nullptr;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  const std::string_view text{reinterpret_cast<const char *>(bytes), size};
  // What a base names in the file system is no part of the input.
  if (text.find('/') != std::string_view::npos)
    return 0;
  const std::unique_ptr<scdb::Machine> machine = open(text);
  if (!machine)
    return 0;
  Trial trial{*machine};
  std::optional<scdb::ChipKind> last;
  for (const scdb::Chip chip : machine->chips()) {
    static_cast<void>(machine->parts(chip));
    if (chip.kind != last)
      trial.access(chip);
    last = chip.kind;
  }
  const std::unique_ptr<scdb::Machine> copy = machine->copy();
  const std::optional<std::string> state = machine->save_state();
  copy->load_state(*state);
  fuzz::require(copy->save_state() == state, "what was saved is what is loaded");
  return 0;
}
