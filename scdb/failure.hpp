#pragma once

#include <cstdint>

#include "scdb/units.hpp"

namespace scdb {

/// Word 0 of the error record when a primitive failed: who has to look at it.
/// Macros write -99 there, so every class is a small positive number.
enum class FailureClass : std::uint8_t {
  none = 0,
  argument = 1,  ///< the macro passed something that the primitive does not take
  target = 2,    ///< the unit words designate no chip, or one that the machine lacks
  refused = 3,   ///< the chip is there and does not have what was asked for
  hardware = 4,  ///< the chip should have answered and did not
  nested = 5,    ///< the macro called by number could not be run
  stopped = 6,   ///< the operator or a time limit stopped the run
  injected = 7,  ///< an observer made the primitive fail, as tests do
};

/// Word 4 of the error record: why the primitive failed.  The numbers are part of the interface: append only.
enum class Reason : std::uint8_t {
  none = 0,
  // argument
  null_pointer = 1,
  bad_kind = 2,          ///< JTAG access kind, scan mode, direction or transfer mode
  bad_code = 3,          ///< instruction code, ring code or device above 0xFF
  bad_count = 4,         ///< word count or length
  bad_ring_address = 5,  ///< a ring bit address reaches beyond the scan buffer
  bad_bit_count = 6,     ///< the addresses name more bits than the mask has
  bad_trailer = 7,       ///< the trailing word of lmcr_mjtag is not 1
  // target
  unknown_unit_type = 16,
  bad_board_mask = 17,  ///< empty, or a board beyond 15
  bad_triple = 18,      ///< the target triple names what the unit words do not designate
  no_chip = 19,         ///< nothing designated
  missing_chip = 20,    ///< a designated chip does not exist
  // refused
  unsupported = 32,  ///< the machine has no such kind of access at all
  no_register = 33,
  no_ring = 34,
  ring_too_long = 35,  ///< longer than a scan buffer
  ring_not_open = 36,  ///< a closing scan without an opening one
  no_device = 37,
  read_only = 38,
  write_only = 39,
  no_entry = 40,  ///< beyond the end of an array or table
  // hardware
  dead_chip = 48,
  no_acknowledge = 49,
  time_out = 50,
  // nested
  no_macro = 64,
  too_deep = 65,
  macro_failed = 66,  ///< a macro that the machine offers reported failure
  // stopped, injected
  interrupted = 80,
  injected = 96,
};

/// The class that a reason belongs to.
[[nodiscard]] constexpr FailureClass class_of(Reason reason) {
  const auto number = static_cast<unsigned>(reason);
  return static_cast<FailureClass>(number == 0 ? 0 : number / 16 + 1);
}

static_assert(class_of(Reason::none) == FailureClass::none);
static_assert(class_of(Reason::bad_trailer) == FailureClass::argument);
static_assert(class_of(Reason::missing_chip) == FailureClass::target);
static_assert(class_of(Reason::no_entry) == FailureClass::refused);
static_assert(class_of(Reason::time_out) == FailureClass::hardware);
static_assert(class_of(Reason::macro_failed) == FailureClass::nested);
static_assert(class_of(Reason::interrupted) == FailureClass::stopped);
static_assert(class_of(Reason::injected) == FailureClass::injected);

/// What came of an access: success, or why it failed and at which chip.
struct [[nodiscard]] Outcome {
  Reason reason = Reason::none;
  /// The chip that failed; meaningful only when `placed`.
  Chip place{};
  bool placed = false;

  [[nodiscard]] constexpr bool ok() const { return reason == Reason::none; }
  static constexpr Outcome success() { return {}; }
  static constexpr Outcome failure(Reason why) { return {why, {}, false}; }
  static constexpr Outcome failure(Reason why, Chip where) { return {why, where, true}; }
};

}  // namespace scdb
