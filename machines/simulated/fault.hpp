#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "scdb/failure.hpp"

namespace simulated {

/// What a fault does.
enum class FaultKind : std::uint8_t {
  dead,            ///< nobody answers
  no_acknowledge,  ///< the access is not acknowledged
  stuck_0,         ///< bits read as 0
  stuck_1,         ///< bits read as 1
  flip,            ///< bits read inverted
  does_not_hold,   ///< a write is lost
  macro_failed,    ///< a macro that the machine offers reports failure
};

/// Where a fault sits.
enum class PlaceKind : std::uint8_t {
  chip,    ///< every access to the chip
  jtag,    ///< an instruction code
  ring,    ///< a scan ring
  i2c,     ///< a device number
  mbc,     ///< a maintenance-bus address
  cells,   ///< named cells inside the chip: registers or a memory
  nested,  ///< a macro offered by the machine
};

/// Why an access that meets such a fault fails; none where it does not.
[[nodiscard]] constexpr scdb::Reason refusal_of(FaultKind kind) {
  switch (kind) {
    case FaultKind::dead:
      return scdb::Reason::dead_chip;
    case FaultKind::no_acknowledge:
      return scdb::Reason::no_acknowledge;
    case FaultKind::macro_failed:
      return scdb::Reason::macro_failed;
    default:
      return scdb::Reason::none;
  }
}

/// Bits of one word of a place.
struct WordBits {
  std::size_t word;
  macro_word mask;
};

/// A fault of one chip.  It counts the accesses to its place and strikes those that its schedule names.
class ChipFault {
 public:
  static constexpr std::uint64_t ALWAYS = std::numeric_limits<std::uint64_t>::max();
  /// Chances in 2^32.
  static constexpr std::uint64_t CERTAIN = std::uint64_t{1} << 32;

  FaultKind kind = FaultKind::dead;
  PlaceKind place = PlaceKind::chip;
  macro_word code = 0;               ///< instruction, ring, device, address or macro number, as the place is
  std::optional<std::size_t> cells;  ///< the cells that it spoils, for a ring and for named cells
  std::size_t entry_words = 1;       ///< of those cells; a ring is one entry
  std::optional<std::size_t> entry;  ///< the entry that it spoils; nothing = all
  std::vector<WordBits> bits;        ///< the bits that it spoils, words counted from the place's or entry's first
  std::uint64_t after = 0;           ///< accesses that it leaves alone
  std::uint64_t times = ALWAYS;      ///< accesses that it may strike then
  std::uint64_t chances = CERTAIN;   ///< chances of each of them to be struck
  macro_word seed = 0;               ///< of those chances
  std::uint64_t accesses = 0;        ///< accesses so far, the fault's only memory

  /// Whether an access from outside to this place of the chip meets the fault.
  [[nodiscard]] bool meets(PlaceKind where, macro_word at) const {
    return place == PlaceKind::chip || (place == where && code == at);
  }
  /// Whether it sits in this word of the chip's cells.
  [[nodiscard]] bool touches(std::size_t id, std::size_t index) const {
    return cells == id && (!entry || *entry == index / entry_words);
  }
  /// First word of the entry that holds the word.
  [[nodiscard]] std::size_t first_word(std::size_t index) const { return index / entry_words * entry_words; }

  /// Counts an access and says whether it is struck.
  [[nodiscard]] bool strike() { return hits(accesses++); }
  /// Whether the latest access was struck; before the first one, whether that will be.
  [[nodiscard]] bool active() const { return hits(accesses == 0 ? 0 : accesses - 1); }
  /// A word of the place as the fault shows it.
  [[nodiscard]] macro_word distorted(std::size_t word, macro_word value) const;

 private:
  [[nodiscard]] bool hits(std::uint64_t access) const;
};

}  // namespace simulated
