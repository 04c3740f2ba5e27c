#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/command/command.hpp"
#include "host/names.hpp"
#include "host/shell/candidates.hpp"

namespace host {

/// Ways to go on with the last of the words, which may be empty.  There are none where something on the way, such as a
/// machine or a library, cannot be had.
/// @param words  without the name of the program.
[[nodiscard]] std::vector<Candidate> complete(const Command &program, const std::vector<std::string> &words);

/// Ways to go on with a line.
/// @param line  up to the cursor; it may begin with the name of the program.
/// @param shell  whose line it is; null where it is none's.
[[nodiscard]] LineCompletion complete_line(std::string_view line, OpenShell *shell = nullptr);

}  // namespace host
