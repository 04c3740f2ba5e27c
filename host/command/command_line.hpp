#pragma once

#include "host/command/options.hpp"
#include "host/names.hpp"

namespace host {

/// The commands and their options, for one line of words.
class CommandLine {
 public:
  CommandLine();
  CommandLine(const CommandLine &) = delete;
  CommandLine &operator=(const CommandLine &) = delete;
  ~CommandLine() = default;

  /// What the words ask for; where they ask for help or the version, to print it.  The command line must outlive it.
  /// @param words  without the name of the program.
  /// @throw InputError
  [[nodiscard]] Action parse(std::vector<std::string> words);

  [[nodiscard]] const CLI::App &app() const { return app_; }

 private:
  CLI::App app_;
  Action action_;
};

/// The command of this name, or null.  @param app  a command, or all of them.
[[nodiscard]] const CLI::App *subcommand(const CLI::App &app, const std::string &name);

}  // namespace host
