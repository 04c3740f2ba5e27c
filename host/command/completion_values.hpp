#pragma once

#include <map>

#include "host/command/command.hpp"
#include "host/command/completion.hpp"
#include "host/names.hpp"

namespace host {

/// What a line has given so far, and what its last word is.
struct Given {
  const Command *program = nullptr;
  const Command *command = nullptr;
  std::map<const CLI::Option *, std::vector<std::string>> values;  ///< of options and arguments
  const CLI::Option *takes = nullptr;                              ///< whose value the word is; null where it is none
  bool option_possible = true;                                     ///< whether the word may be the name of an option
  std::string word;  ///< what stands there of the value, option or command

  /// The values of the options and arguments that take this.
  [[nodiscard]] std::vector<std::string> of(Takes what) const;
};

/// The values that an option or argument can have, as far as the word has them begin.
[[nodiscard]] std::vector<Candidate> values_of(const CLI::Option &option, const Given &given);

}  // namespace host
