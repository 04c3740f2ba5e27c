#pragma once

#include "host/command/options.hpp"
#include "host/names.hpp"

namespace host {

/// The commands and their options, for one line of words.
class CommandLine {
 public:
  /// @param shell  whose line it is; null where it is none's.
  explicit CommandLine(OpenShell *shell = nullptr);
  CommandLine(const CommandLine &) = delete;
  CommandLine &operator=(const CommandLine &) = delete;
  ~CommandLine() = default;

  /// What the words ask for; where they ask for help or the version, to print it.  The command line must outlive it.
  /// @param words  without the name of the program.
  /// @throw InputError
  [[nodiscard]] Action parse(std::vector<std::string> words);

  [[nodiscard]] const Command &program() const { return program_; }

 private:
  Command program_;
  Action action_;
};

}  // namespace host
