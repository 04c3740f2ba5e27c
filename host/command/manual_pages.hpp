#pragma once

#include <string>
#include <vector>

#include "host/command/command.hpp"
#include "host/names.hpp"

namespace host {

/// A page of section 1 of the manual.
struct ManualPage {
  std::string name;  ///< "mcrhost", "mcrhost-run"
  std::string text;  ///< in the man macros of roff
};

/// The manual as the command line tells it: a page for the program, first, and one for each of its commands.
[[nodiscard]] std::vector<ManualPage> manual_of(const Command &program);

}  // namespace host
