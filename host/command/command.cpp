#include "host/command/command.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "host/command/help.hpp"

namespace host {

Command::Command(const std::string &name, CommandText text, OpenShell *shell)
    : CLI::App{text.summary, name}, text_{std::move(text)}, shell_{shell} {
  footer([this] { return help_below_options(this->text()); });
}

Command::Command(const std::string &name, CommandText text, Command *whole)
    : CLI::App{text.summary, name, whole}, text_{std::move(text)}, shell_{whole->shell_}, whole_{whole} {
  footer([this] { return help_below_options(this->text()); });
}

Command *Command::add_command(const std::string &name, CommandText text) {
  const std::shared_ptr<Command> command{new Command{name, std::move(text), this}};
  add_subcommand(command);
  parts_.push_back(command.get());
  return command.get();
}

CLI::Option *Command::add_flag_or_file(const std::string &name, std::string_view without, std::string &variable,
                                       const std::string &description) {
  return keep(add_flag(fmt::format("{}{{{}}}", name, without), variable, description), Takes::file);
}

/// The formatter, which knows nothing but the option, finds the word for its value there.
CLI::Option *Command::keep(CLI::Option *option, const Value &value) {
  values_.insert_or_assign(option, value);
  return option->option_text(placeholder_of(value));
}

CommandText Command::text() const {
  CommandText text = text_;
  const bool silent = text.examples.empty() && text.paragraphs.empty() && !text.endings;
  if (silent && whole_ != nullptr && whole_->whole_ != nullptr) {
    text = whole_->text_;
    text.summary = text_.summary;
  }
  if (text.examples.empty())
    for (const Command *const part : parts_)
      std::ranges::copy(part->text_.examples, std::back_inserter(text.examples));
  return text;
}

std::vector<const Command *> Command::parts_shown() const {
  std::vector<const Command *> shown;
  std::ranges::copy_if(parts_, std::back_inserter(shown),
                       [](const Command *part) { return !part->get_group().empty(); });
  return shown;
}

const Command *Command::part(std::string_view name) const {
  const auto found = std::ranges::find(parts_, name, [](const Command *part) { return part->get_name(); });
  return found == parts_.end() ? nullptr : *found;
}

const Command *Command::part_given() const {
  const auto found = std::ranges::find_if(parts_, [](const Command *part) { return part->parsed(); });
  return found == parts_.end() ? nullptr : *found;
}

const Value *Command::value_of(const CLI::Option &option) const {
  const auto found = values_.find(&option);
  return found == values_.end() ? nullptr : &found->second;
}

int most_words(const CLI::Option &option) {
  return option.get_allow_extra_args() ? option.get_items_expected_max()
                                       : std::min(option.get_items_expected_max(), option.get_type_size_max());
}

}  // namespace host
