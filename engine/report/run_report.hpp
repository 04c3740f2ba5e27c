#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "engine/run/bench.hpp"
#include "engine/run/judgement.hpp"
#include "engine/run/series.hpp"
#include "engine/text/error.hpp"
#include "scdb/record.hpp"

namespace engine {

/// "two-board server (simulated)".
[[nodiscard]] std::string label_of(const MachineInfo &machine);
/// {"name": ..., "simulated": ...}
[[nodiscard]] nlohmann::ordered_json json_of(const MachineInfo &machine);

/// What a primitive's failure says: class, primitive, code, chip, reason and a sentence.
[[nodiscard]] nlohmann::ordered_json json_of(const scdb::Failure &failure);

/// A run that is over.
struct FinishedRun {
  const RunRequest &request;
  const RunResult &run;
  const Judgement &judgement;
  const MachineInfo &machine;
};

/// For people: a header, _DATA with the names of the catalogue, the verdict with what there is to say of it.
/// @param words_only  _DATA in words, without names.
/// @param name        what the client calls the subjects that the report speaks of.
[[nodiscard]] std::string text_report(const FinishedRun &finished, bool words_only, SubjectName name);

/// For programs.  Words are strings such as "0x0000002A"; words of _DATA that were not written are null.
[[nodiscard]] nlohmann::ordered_json json_report(const FinishedRun &finished);

/// What came of words that were compared: "expected: 2 words are as expected", or the mismatch.
[[nodiscard]] std::string comparison_text(const Comparison &comparison);
[[nodiscard]] nlohmann::ordered_json json_of(const Comparison &comparison);

/// "4 units: 3 passed, 1 failed: cpu:0.1"
[[nodiscard]] std::string summary_of(const Tally &tally);
/// The number of units, and the names of those that came to each conclusion.
[[nodiscard]] nlohmann::ordered_json json_of(const Tally &tally);

/// A line for each write that a dry run has planned:
///
///     cpu:0.0   lmcr_jtag     code 0xB0  0x400C5748
///     cpu:0.0   lmcr_scan     ring 0x3C word 83  0x00000000 -> 0x08000000
[[nodiscard]] std::string text_of_writes(const std::vector<PlannedWrite> &writes);
[[nodiscard]] nlohmann::ordered_json json_of(const std::vector<PlannedWrite> &writes);

}  // namespace engine
