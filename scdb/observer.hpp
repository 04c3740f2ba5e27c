#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "scdb/export.hpp"
#include "scdb/failure.hpp"

namespace scdb {

/// The primitives, with the numbers of word 1 of the error record.
enum class Primitive : std::uint8_t {
  jtag = 1,
  mjtag = 2,
  bcast = 3,
  scan = 4,
  sin = 5,
  sout = 6,
  maccall = 7,
  i2cctl = 8,
  mbcreg = 9,
  egen = 10,
  echk = 11,
  pgen = 12,
  pchk = 13,
  shift = 14,
  wait = 15,
};

/// "lmcr_jtag" and so on.
[[nodiscard]] SCDB_API std::string_view name_of(Primitive primitive);

/// One operand of a call, in the order of the argument list.
struct Operand {
  std::string_view name;
  macro_word value;
};

/// A primitive call as the macro made it.  Everything pointed to lives only during the call.
struct Call {
  Primitive primitive;
  std::span<const Operand> operands;  ///< without status cell, error record and unit words
  Unit unit;                          ///< unit words, where the primitive has them
  bool has_unit = false;
  std::span<const macro_word> addresses;  ///< ring bit addresses of lmcr_sin and lmcr_sout
  unsigned depth = 0;                     ///< 0 for calls of the macro that was run, 1 for those of one it called, ...
};

/// What came of it.
struct CallResult {
  Outcome outcome;
  macro_word value = 0;  ///< what the primitive returned
};

/// Sees every primitive call: traces, progress, dry runs, tests.
class SCDB_API Observer {
 public:
  Observer() = default;
  virtual ~Observer();
  Observer(const Observer &) = delete;
  Observer &operator=(const Observer &) = delete;

  /// Before the primitive does anything.  Any reason but none makes it fail with that reason, untouched.  lmcr_shift
  /// and lmcr_wait cannot fail: they go on whatever is answered.
  [[nodiscard]] virtual Reason before(const Call &call);
  /// After it, when the status cell and the error record have been written.
  virtual void after(const Call &call, const CallResult &result);
};

}  // namespace scdb
