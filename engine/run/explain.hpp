#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "engine/catalogue/catalogue.hpp"
#include "engine/run/runner.hpp"
#include "engine/unit/chips.hpp"

namespace engine {

/// A word of an error record, and what it says.
struct RecordWord {
  std::size_t index = 0;
  macro_word value = 0;
  std::string meaning;
};

/// The words of an error record that say something, in order: all that a failed primitive writes, and those not 0.
/// @param entry  tells what sub-codes mean; null where the macro has none.
[[nodiscard]] std::vector<RecordWord> explain_record(std::span<const macro_word> record,
                                                     const MacroEntry *entry = nullptr);

/// Everything that went wrong in a run, a sentence each, the gravest first; empty for a run without failure.
/// @param entry  as for explain_record().
[[nodiscard]] std::vector<std::string> failures_of(const RunResult &run, const MacroEntry *entry = nullptr);

/// What else became of open rings, a sentence each: "rings left open, restored: cpu:0.0 ring 0x3C".
[[nodiscard]] std::vector<std::string> notes_of(const RunResult &run);

/// What became of all rings that were open at the end of a run, a sentence for each fate.
[[nodiscard]] std::vector<std::string> fates_of_rings(const RunResult &run);

/// What a sub-code means in all macros; empty for one that has no common meaning.
[[nodiscard]] std::string_view title_of_sub_code(macro_word code);

/// "restored", "not restored", "left open", "still open", "kept open".
[[nodiscard]] std::string_view name_of(RingLeft::Fate fate);

/// "read", "write", "unknown".
[[nodiscard]] std::string_view name_of(Access access);

/// "_DATA[48], 1 word past its end".
[[nodiscard]] std::string describe(const Breach &breach);

}  // namespace engine
