#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/names.hpp"

namespace host {

/// Lines typed in shells, kept from one to the next in a file: mcrhost/history in $XDG_STATE_HOME, or in
/// ~/.local/state. Shells that are open at the same time add to the same file.
class KeptLines {
 public:
  /// Tells people what is wrong, in one line.
  using Complaint = std::function<void(std::string_view message)>;

  /// Where the file cannot be had, now or later, that is told, and nothing is kept.
  explicit KeptLines(Complaint complain);

  /// Those of earlier shells and those added, the oldest first.
  [[nodiscard]] const std::vector<std::string> &earlier() const { return earlier_; }

  /// Adds a line, unless it is the same as the last.
  void add(const std::string &line);

 private:
  void give_up(const std::string &why);

  Complaint complain_;
  std::string path_;  ///< empty when nothing is kept
  std::vector<std::string> earlier_;
};

}  // namespace host
