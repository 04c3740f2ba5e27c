#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/catalogue.hpp"
#include "engine/catalogue/decode.hpp"
#include "engine/run/call_log.hpp"
#include "engine/run/guard.hpp"
#include "engine/run/processor_fault.hpp"
#include "engine/run/stop.hpp"
#include "engine/unit/selection.hpp"
#include "scdb/macros.hpp"
#include "scdb/session.hpp"

namespace engine {

/// Sizes of the areas, in words, where nothing else is known.  _PARA is at least this large, so that words not given
/// read as 0; _DATA holds the largest dump, the 122,880 words of a crossbar.
inline constexpr std::size_t LEAST_PARA_WORDS = 16;
inline constexpr std::size_t DEFAULT_DATA_WORDS = 131072;
inline constexpr std::size_t EXP_WORDS = 256;

/// What is done about rings that are open when a run is over.
enum class OpenRings : std::uint8_t {
  usual,    ///< restored on a simulated machine, left open on any other, where people decide
  restore,  ///< what they held is put back
  keep,     ///< they stay open for the next run, which was asked for
};

/// One run of one macro on one unit.
struct RunRequest {
  const scdb::Macro *macro = nullptr;
  std::shared_ptr<const MacroEntry> entry;  ///< what the catalogue says of it; null where it has none
  Selection unit;
  macro_word rw = RW_READ;
  std::vector<macro_word> para;  ///< first words of _PARA, the others 0
  std::vector<macro_word> data;  ///< first words of _DATA
  std::size_t data_words = 1;    ///< size of _DATA; not less than data.size()
  OpenRings rings = OpenRings::usual;
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
  ProcessorFault fault;
  std::optional<Breach> breach;  ///< where the address belongs to an area
  CallPosition position;
};

/// What made a run end before its time.
struct Stop {
  std::string by;     ///< "Ctrl-C", "the time limit of 2 s"
  unsigned call = 0;  ///< the first primitive call that was made to fail, counted from 1
  StopCause cause = StopCause::none;
};

/// A ring that was open when a run was over, and what became of it.
struct RingLeft {
  enum class Fate : std::uint8_t {
    restored,
    not_restored,  ///< it was tried and failed
    left_open,     ///< by this run
    still_open,    ///< as an earlier run had left it
    kept_open,     ///< as was asked for
  };
  scdb::OpenRing ring;
  Fate fate = Fate::left_open;
  scdb::Reason reason = scdb::Reason::none;  ///< why it was not restored
};

/// What came of a run.
struct RunResult {
  macro_word status = 0;      ///< _RETURN
  std::optional<int> result;  ///< of the macro's function; nothing after a crash
  unsigned calls = 0;         ///< primitive calls made
  std::array<macro_word, ERROR_RECORD_WORDS> record{};
  DataWords data;                 ///< up to the last word written; nothing where a word was not
  std::vector<Breach> underruns;  ///< words before areas that were written
  std::optional<Crash> crash;
  std::optional<Stop> stop;
  std::vector<RingLeft> rings;  ///< that were open at the end

  [[nodiscard]] bool ok() const { return status != MACRO_FAILED && !crash && !stop && underruns.empty(); }
};

/// Runs macros to completion, their areas between guard pages, _PARA and the location words read-only.  Areas serve one
/// run after another: where nothing goes wrong, a run makes no system call of its own.
class Runner {
 public:
  Runner();
  ~Runner();
  Runner(const Runner &) = delete;
  Runner &operator=(const Runner &) = delete;

  /// Words of _DATA that the caller gave nothing for hold 0 when the direction is "write" and a pattern otherwise; a
  /// word counts as written when it no longer holds what it held before the run.
  /// @param stop  what may stop it at a primitive call; null: nothing.
  /// @return what came of it, but for rings and machine.
  /// @throw std::bad_alloc
  [[nodiscard]] RunResult run(const RunRequest &request, StopToken *stop);

 private:
  struct EntryCall;

  /// The area of this name and size.
  GuardedArea &area_of(std::map<std::size_t, GuardedArea> &areas, std::string_view name, std::size_t words,
                       AreaUse use);
  [[nodiscard]] std::array<GuardedArea *, 5> areas() { return {&mring_, para_, data_, &err_, &exp_}; }
  [[nodiscard]] std::optional<Breach> breach_of(const ProcessorFault &fault);
  [[nodiscard]] std::vector<Breach> underruns();
  void fill(const RunRequest &request);

  FaultTraps traps_;
  GuardedArea mring_{"_MRING", MRING_WORDS, AreaUse::read};
  std::map<std::size_t, GuardedArea> para_areas_;  ///< by the bytes that their pages have
  std::map<std::size_t, GuardedArea> data_areas_;
  GuardedArea *para_ = nullptr;  ///< of this run
  GuardedArea *data_ = nullptr;
  GuardedArea err_{"_ERR", ERROR_RECORD_WORDS};
  GuardedArea exp_{"_EXP", EXP_WORDS};
};

}  // namespace engine
