#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/run/call_log.hpp"
#include "engine/catalogue/catalogue.hpp"
#include "engine/run/processor_fault.hpp"
#include "scdb/macros.hpp"
#include "scdb/session.hpp"
#include "engine/unit/selection.hpp"

namespace engine {

/// Sizes of the areas, in words, where nothing else is asked for.  _PARA is at least this large, so that words not
/// given read as 0; _DATA holds the largest dump, the 122,880 words of a crossbar.
inline constexpr std::size_t LEAST_PARA_WORDS = 16;
inline constexpr std::size_t DEFAULT_DATA_WORDS = 131072;
inline constexpr std::size_t EXP_WORDS = 256;

/// One run of one macro on one unit.
struct RunRequest {
  const scdb::Macro *macro = nullptr;
  std::shared_ptr<const MacroEntry> entry;  ///< what the catalogue says of it; null where it has none
  Selection unit;
  macro_word rw = RW_READ;
  std::vector<macro_word> para;                 ///< first words of _PARA, the others 0
  std::vector<macro_word> data;                 ///< first words of _DATA
  std::size_t data_words = DEFAULT_DATA_WORDS;  ///< size of _DATA; not less than data.size()
};

/// An access outside an area that a macro was given, or a write into one that it may only read.
struct Breach {
  std::string_view area;     ///< "_DATA"
  std::ptrdiff_t index = 0;  ///< word accessed, counted from the area's first
  std::size_t size = 0;      ///< words of the area
  Access access = Access::unknown;
};

/// The end of a run that came to no end of its own.
struct Crash {
  Fault fault;
  std::optional<Breach> breach;  ///< where the address belongs to an area
  CallPosition position;
};

class Interruption;

/// What made a run end before its time.
struct Stop {
  std::string by;     ///< "Ctrl-C", "the time limit of 2 s"
  unsigned call = 0;  ///< the first primitive call that was made to fail, counted from 1
};

/// What came of putting back what open rings held.
struct Restoration {
  scdb::Outcome outcome;                   ///< the first failure, if any
  std::vector<scdb::OpenRing> still_open;  ///< rings that could not be restored
};

/// Which machine a run worked on.
struct MachineInfo {
  std::string name;
  bool simulated = false;
};

/// What came of a run.
struct RunResult {
  MachineInfo machine;
  macro_word status = 0;      ///< _RETURN
  std::optional<int> result;  ///< of the macro's function; nothing after a crash
  unsigned calls = 0;         ///< primitive calls made
  std::array<macro_word, ERROR_RECORD_WORDS> record{};
  std::vector<std::optional<macro_word>> data;  ///< up to the last word written; nothing where a word was not
  std::vector<Breach> underruns;                ///< words before areas that were written
  std::optional<Crash> crash;
  std::optional<Stop> stop;
  std::vector<scdb::OpenRing> open_rings;  ///< at the end of the run
  std::optional<Restoration> restoration;  ///< of these rings; nothing where it was not tried

  /// Whether the machine may be halfway through an access.
  [[nodiscard]] bool crashed_in_primitive() const {
    return crash && crash->position.number != 0 && !crash->position.finished;
  }
  [[nodiscard]] bool ok() const { return status != MACRO_FAILED && !crash && !stop && underruns.empty(); }
};

/// The machine that macros are run on now.
[[nodiscard]] MachineInfo current_machine();

/// Runs a macro to completion, its areas between guard pages, _PARA and the location words read-only.
///
/// Words of _DATA that the caller gave nothing for hold 0 when the direction is "write" and a pattern otherwise; a word
/// counts as written when it no longer holds what it held before the run.
/// @param interruption  what may stop it at a primitive call; null: nothing.
/// @throw std::bad_alloc
[[nodiscard]] RunResult run_macro(const RunRequest &request, Interruption *interruption = nullptr);

/// Puts back what the rings held that a run left open, and keeps in its result what came of it.  After a crash inside a
/// primitive it leaves the machine alone.
void restore_open_rings(RunResult &run);

}  // namespace engine
