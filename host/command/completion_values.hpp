#pragma once

#include <map>

#include "host/command/completion.hpp"
#include "host/names.hpp"

namespace host {

/// What a line has given so far, and what its last word is.
struct Given {
  const CLI::App *command = nullptr;
  std::map<const CLI::Option *, std::vector<std::string>> values;  ///< of options and arguments
  const CLI::Option *takes = nullptr;                              ///< whose value the word is; null where it is none
  bool option_possible = true;                                     ///< whether the word may be the name of an option
  std::string word;  ///< what stands there of the value, option or command

  /// The values of an option ("--unit") or argument ("MACRO") of the command; none where it has no such.
  [[nodiscard]] std::vector<std::string> of(const std::string &name) const;
};

/// The values that an option or argument can have, as far as the word has them begin.  What they are is told by the
/// option's name or by what the help says that it takes.
[[nodiscard]] std::vector<Candidate> values_of(const CLI::Option &option, const Given &given);

}  // namespace host
