#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "runner.hpp"

namespace host {

/// A word of an error record, and what it says.
struct RecordWord {
  std::size_t index = 0;
  macro_word value = 0;
  std::string meaning;
};

/// The words of an error record that say something, in order: all that a failed primitive writes, and those not 0.
[[nodiscard]] std::vector<RecordWord> explain_record(std::span<const macro_word> record);

/// Everything that went wrong in a run, a sentence each, the gravest first; empty for a run without failure.
[[nodiscard]] std::vector<std::string> failures_of(const RunResult &run);

/// "read", "write", "unknown".
[[nodiscard]] std::string_view name_of(Access access);

/// "_DATA[48], 1 word past its end".
[[nodiscard]] std::string describe(const Breach &breach);

}  // namespace host
