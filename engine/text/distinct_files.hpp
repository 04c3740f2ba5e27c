#pragma once

#include <string>
#include <vector>

namespace engine {

/// A file that a command uses, and what names it there: "--junit".
struct NamedFile {
  std::string what;
  std::string path;  ///< empty: none is used
};

/// Refuses a file that is meant for two things, of which one would destroy the other.  Devices take both.
/// @throw InputError
void check_distinct(const std::vector<NamedFile> &files);

}  // namespace engine
