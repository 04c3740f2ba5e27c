#pragma once

#include <string>

#include "host/command/command.hpp"
#include "host/names.hpp"

namespace host {

/// How --help and the manual name options.
class HelpFormatter : public CLI::Formatter {
 public:
  /// Shows a flag that can be given a file, CLI11's "--trace{-}", as "--trace[=FILE]".
  std::string make_option_name(const CLI::Option *option, bool positional) const override;
  /// The word that stands for its value, and nothing of the other options that it excludes.
  std::string make_option_opts(const CLI::Option *option) const override;
  /// In lines of a terminal's width.
  std::string make_option_desc(const CLI::Option *option) const override;
  std::string make_footer(const CLI::App *app) const override;
};

/// What --help shows below the options: examples, paragraphs, and with what a command ends.
[[nodiscard]] std::string help_below_options(const CommandText &text);

}  // namespace host
