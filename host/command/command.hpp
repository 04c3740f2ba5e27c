#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/command/bench_in_use.hpp"
#include "host/command/exit_status.hpp"
#include "host/command/value.hpp"
#include "host/names.hpp"

namespace host {

/// When a command ends with which status; empty where there is no more to say than EXIT_STATUSES does.
struct Endings {
  std::string_view ok = {};
  std::string_view failed = {};
  std::string_view usage = {};

  [[nodiscard]] std::string_view of(ExitStatus status) const {
    return status == ExitStatus::ok ? ok : status == ExitStatus::failed ? failed : usage;
  }
};

/// What a command says of itself besides its options.  Help and manual are both made of it.
struct CommandText {
  std::string summary;                     ///< "Run a macro on units and print what it found"
  std::vector<std::string> examples = {};  ///< lines to type
  std::vector<std::string> paragraphs = {};
  std::optional<Endings> endings = {};
};

/// A command of the command line with its options and parts; the program itself is one, and its parts are the commands.
class Command : public CLI::App {
 public:
  /// The program.
  /// @param shell  whose line is given to it; null where it is none's.
  Command(const std::string &name, CommandText text, OpenShell *shell);

  /// Adds a command to the program, or a part to a command: "run" to "plan".
  Command *add_command(const std::string &name, CommandText text);

  /// Adds an option, or an argument where the name has no dashes.
  template <typename T>
  CLI::Option *add(const std::string &name, T &variable, const Value &value, const std::string &description) {
    return keep(add_option(name, variable, description), value);
  }

  /// Adds a flag that sets a variable, or to which a file can be given: "--trace", "--trace=FILE".
  /// @param without  what the flag sets where no file is given.
  CLI::Option *add_flag_or_file(const std::string &name, std::string_view without, std::string &variable,
                                const std::string &description);

  /// The shell whose line this is; null where it is none's.
  [[nodiscard]] OpenShell *shell() const { return shell_; }

  /// Leaves it out of help, manual and completion.
  void hide() { group(""); }

  /// What it says of itself.  A part that has nothing to say says what its command says; a command that gives no
  /// examples has those of its parts.
  [[nodiscard]] CommandText text() const;

  /// Its parts that are not hidden.
  [[nodiscard]] std::vector<const Command *> parts_shown() const;
  /// The part of this name, hidden or not; null where there is none.
  [[nodiscard]] const Command *part(std::string_view name) const;
  /// The part that the words parsed have given; null where they have given none.
  [[nodiscard]] const Command *part_given() const;

  /// What one of its options takes; nothing where it is a flag.
  [[nodiscard]] const Value *value_of(const CLI::Option &option) const;

 private:
  Command(const std::string &name, CommandText text, Command *whole);
  CLI::Option *keep(CLI::Option *option, const Value &value);

  // Nothing is added without what help, manual and completion are made of.
  using CLI::App::add_option;
  using CLI::App::add_subcommand;
  using CLI::App::footer;

  CommandText text_;
  OpenShell *shell_ = nullptr;
  const Command *whole_ = nullptr;  ///< what it is a part of; null for the program
  std::vector<const Command *> parts_;
  std::map<const CLI::Option *, Value> values_;
};

/// How many words an option takes at one place.
[[nodiscard]] int most_words(const CLI::Option &option);

}  // namespace host
