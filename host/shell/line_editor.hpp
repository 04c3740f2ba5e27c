#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/names.hpp"
#include "host/shell/candidates.hpp"

namespace host {

/// Reads lines from a terminal, with editing, completion and earlier lines to go back to.  What it shows goes to
/// standard error.
class LineEditor {
 public:
  using Completer = std::function<LineCompletion(std::string_view line)>;

  /// Whether Tab completes words and keys bring earlier lines back: for some processors there is no library for that.
  static const bool COMPLETES;

  LineEditor(std::string prompt, Completer completer);
  ~LineEditor();
  LineEditor(const LineEditor &) = delete;
  LineEditor &operator=(const LineEditor &) = delete;

  /// The next line, without its end; empty after Ctrl-C, nothing after Ctrl-D or at the end of the terminal.
  [[nodiscard]] std::optional<std::string> read();

  /// Makes a line one that can be gone back to.
  void remember(const std::string &line);

 private:
  struct Terminal;
  std::unique_ptr<Terminal> terminal_;
};

}  // namespace host
