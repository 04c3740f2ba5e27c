#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "libscfjtag.h"
#include "scdb/export.hpp"
#include "scdb/failure.hpp"
#include "scdb/observer.hpp"

/// The words 0 to 4 that primitives write into an error record (docs/error-record.md), and back.
namespace scdb {

/// A primitive's failure as the record holds it.
struct Failure {
  Primitive primitive{};
  macro_word code = 0;  ///< JTAG code, ring, ring bit address, I2C device, register address or test number
  Outcome outcome;
};

/// Writes words 0 to 4; a null record is left alone.
SCDB_API void write_failure(macro_word *record, const Failure &failure);

/// Reads them back: nullopt unless word 0 is a failure class and words 1 and 4 fit it.
[[nodiscard]] SCDB_API std::optional<Failure> read_failure(std::span<const macro_word> record);

/// The place word: unit type in bits 24-31, board in bits 16-23, chip in bits 8-15; MACRO_ALL for no single chip.
[[nodiscard]] SCDB_API macro_word place_word(const Outcome &outcome);

[[nodiscard]] SCDB_API std::string_view title_of(FailureClass failure_class);
[[nodiscard]] SCDB_API std::string_view title_of(Reason reason);

/// One sentence for people: "lmcr_jtag, code 0xB1, cpu:0.1: the chip does not answer (hardware error)".
[[nodiscard]] SCDB_API std::string describe(const Failure &failure);

}  // namespace scdb
