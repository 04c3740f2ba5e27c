#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "engine/run/runner.hpp"

namespace engine {

/// "default (simulated)".
[[nodiscard]] std::string label_of(const MachineInfo &machine);

/// {"name": ..., "simulated": ...}
[[nodiscard]] nlohmann::ordered_json json_of(const MachineInfo &machine);

/// A run for people: a header, _DATA with the names of the catalogue, the verdict with what there is to say of it.
/// @param words_only  _DATA in words, without names.
[[nodiscard]] std::string text_report(const RunRequest &request, const RunResult &run, bool words_only = false);

/// What a run without failure found, a sentence each.
[[nodiscard]] std::vector<std::string> findings_of(const RunRequest &request, const RunResult &run);

/// The same for programs.  Words are strings such as "0x0000002A"; words of _DATA that were not written are null.
[[nodiscard]] nlohmann::ordered_json json_report(const RunRequest &request, const RunResult &run);

}  // namespace engine
