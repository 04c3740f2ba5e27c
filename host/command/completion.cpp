#include "host/command/completion.hpp"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/command/command_line.hpp"
#include "host/command/commands.hpp"
#include "host/command/completion_values.hpp"
#include "host/shell/line_words.hpp"

namespace host {
namespace {

constexpr std::string_view PROGRAM = "mcrhost";

bool is_option(std::string_view word) {
  const bool number = word.size() > 1 && word[1] >= '0' && word[1] <= '9';
  return word.size() > 1 && word[0] == '-' && !number;
}

/// Follows the words of a line as the parser would.
class Walk {
 public:
  explicit Walk(const Command &program) { given_.program = given_.command = &program; }

  void pass(const std::string &word) {
    if (given_.option_possible && word == "--")
      given_.option_possible = false;
    else if (given_.option_possible && is_option(word))
      pass_option(word);
    else if (open_ != nullptr)
      give(*open_, word);
    else if (const Command *const next = given_.command->part(word); next != nullptr)
      enter(*next);
    else if (const CLI::Option *const argument = next_argument(); argument != nullptr)
      given_.values[argument].push_back(word);
    else
      lost_ = true;
  }

  /// Whether a word was none that the command takes.
  [[nodiscard]] bool lost() const { return lost_; }

  /// @param word  the one that is to be completed.
  Given finish(const std::string &word) {
    given_.word = word;
    const std::size_t sign = word.find('=');
    if (given_.option_possible && is_option(word) && sign != std::string::npos)
      given_.takes = given_.command->get_option_no_throw(word.substr(0, sign));
    else if (!given_.option_possible || !word.starts_with('-'))
      given_.takes = open_ != nullptr ? open_ : next_argument();
    given_.option_possible = given_.option_possible && (open_ == nullptr || taken_ > 0);
    return given_;
  }

 private:
  void enter(const Command &command) {
    // What follows "help" are the commands themselves.
    if (given_.program->shell() == nullptr || command.get_name() != HELP_COMMAND)
      given_.command = &command;
    given_.values.clear();
  }

  void pass_option(const std::string &word) {
    const std::size_t sign = word.find('=');
    open_ = given_.command->get_option_no_throw(word.substr(0, sign));
    taken_ = 0;
    if (open_ == nullptr)
      return;
    std::vector<std::string> &values = given_.values[open_];
    if (sign != std::string::npos) {
      values.push_back(word.substr(sign + 1));
      open_ = nullptr;
    } else if (most_words(*open_) == 0) {
      open_ = nullptr;
    }
  }

  void give(const CLI::Option &option, const std::string &word) {
    given_.values[&option].push_back(word);
    if (++taken_ >= most_words(option))
      open_ = nullptr;
  }

  [[nodiscard]] const CLI::Option *next_argument() const {
    for (const CLI::Option *const option : given_.command->get_options()) {
      const auto values = given_.values.find(option);
      const std::size_t count = values == given_.values.end() ? 0 : values->second.size();
      if (option->get_positional() && std::cmp_less(count, option->get_items_expected_max()))
        return option;
    }
    return nullptr;
  }

  Given given_;
  const CLI::Option *open_ = nullptr;  ///< the option that takes what follows
  int taken_ = 0;                      ///< words that it has taken here
  bool lost_ = false;
};

std::vector<Candidate> options_for(const Given &given) {
  std::vector<Candidate> options;
  for (const CLI::Option *const option : given.command->get_options()) {
    const bool again = !given.values.contains(option) || option->get_items_expected_max() > 1;
    if (!option->get_group().empty() && again)
      for (const std::string &name : option->get_lnames())
        options.push_back({"--" + name});
  }
  return options;
}

std::vector<Candidate> ways_on(const Given &given) {
  std::vector<Candidate> ways;
  if (given.takes != nullptr)
    ways = values_of(*given.takes, given);
  else if (!given.word.starts_with('-'))
    for (const Command *const command : given.command->parts_shown())
      ways.push_back({command->get_name()});
  // Where nothing else is known, options are.
  if (given.option_possible && (given.word.starts_with('-') ? given.takes == nullptr : ways.empty()))
    ways = options_for(given);
  std::erase_if(ways, [&given](const Candidate &way) { return !way.text.starts_with(given.word); });
  return ways;
}

}  // namespace

std::vector<Candidate> complete(const Command &program, const std::vector<std::string> &words) {
  Walk walk{program};
  for (std::size_t i = 0; i + 1 < words.size(); ++i)
    walk.pass(words[i]);
  if (walk.lost())
    return {};
  try {
    return ways_on(walk.finish(words.back()));
  } catch (const std::exception &) {
    return {};
  }
}

LineCompletion complete_line(std::string_view line, OpenShell *shell) {
  LineWords taken = take_apart(line);
  if (taken.comment)
    return {line.size(), {}};
  if (taken.blank)
    taken.words.emplace_back();
  const bool named = taken.words.size() > 1 && std::filesystem::path{taken.words.front()}.filename() == PROGRAM;
  taken.words.erase(taken.words.begin(), taken.words.begin() + (named ? 1 : 0));

  const CommandLine commands{shell};
  LineCompletion completion{taken.last, complete(commands.program(), taken.words)};
  quote(completion.candidates, taken.open);
  return completion;
}

}  // namespace host
