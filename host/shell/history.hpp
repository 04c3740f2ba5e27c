#pragma once

#include <string>
#include <vector>

#include "host/names.hpp"

namespace host {

/// Lines typed in shells, kept from one to the next in a file: mcrhost/history in $XDG_STATE_HOME, or in
/// ~/.local/state. Shells that are open at the same time add to the same file.
class KeptLines {
 public:
  /// Where the file cannot be had, a line on standard error says so, and nothing is kept.
  KeptLines();

  /// Those of earlier shells and those added, the oldest first.
  [[nodiscard]] const std::vector<std::string> &earlier() const { return earlier_; }

  /// Adds a line, unless it is the same as the last.
  void add(const std::string &line);

 private:
  void give_up(const std::string &why);

  std::string path_;  ///< empty when nothing is kept
  std::vector<std::string> earlier_;
};

}  // namespace host
