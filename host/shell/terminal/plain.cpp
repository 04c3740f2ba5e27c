#include <fmt/format.h>

#include <cstdio>
#include <iostream>
#include <utility>

#include "host/shell/line_editor.hpp"
#include "host/shell/terminal/interruptible.hpp"

namespace host {

// Where there is no library for editing the terminal itself takes lines.
const bool LineEditor::COMPLETES = false;

struct LineEditor::Terminal {
  std::string prompt;
};

LineEditor::LineEditor(std::string prompt, Completer /*completer*/)
    : terminal_{std::make_unique<Terminal>(Terminal{std::move(prompt)})} {}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::read() {
  const Interruptible interruptible;
  fmt::print(stderr, "{}", terminal_->prompt);
  // There is something to read when the line is complete.
  if (Interruptible::wait_for_key()) {
    std::string line;
    if (std::getline(std::cin, line) && !Interruptible::interrupted())
      return line;
  }
  fmt::print(stderr, "\n");
  return Interruptible::interrupted() ? std::optional{std::string{}} : std::nullopt;
}

void LineEditor::remember(const std::string & /*line*/) {}

}  // namespace host
