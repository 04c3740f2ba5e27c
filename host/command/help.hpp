#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "host/names.hpp"

namespace host {

/// How --help and the manual name options.
class HelpFormatter : public CLI::Formatter {
 public:
  /// Shows a flag that can be given a value, CLI11's "--trace{-}", as "--trace[=FILE]".
  std::string make_option_name(const CLI::Option *option, bool positional) const override;
  /// The word that stands for its value, and nothing of the other options that it excludes.
  std::string make_option_opts(const CLI::Option *option) const override;
  /// In lines of a terminal's width.
  std::string make_option_desc(const CLI::Option *option) const override;
};

/// The commands that --help tells of; those without a group serve the build and other programs.
[[nodiscard]] std::vector<const CLI::App *> commands_shown(const CLI::App &app);

}  // namespace host
