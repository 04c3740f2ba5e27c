#pragma once

#include <span>
#include <string_view>

namespace toml_file {

/// A TOML file that is part of a program: the file's name without its ending, and its text.
struct Embedded {
  std::string_view name;
  std::string_view text;
};

}  // namespace toml_file
