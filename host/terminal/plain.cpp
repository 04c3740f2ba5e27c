#include <fmt/format.h>

#include <cstdio>
#include <iostream>
#include <utility>

#include "line_editor.hpp"

namespace host {

/// Where there is no library for editing: the terminal's own.
struct LineEditor::Terminal {
  std::string prompt;
};

LineEditor::LineEditor(std::string prompt, Completer /*completer*/)
    : terminal_{std::make_unique<Terminal>(Terminal{std::move(prompt)})} {}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::read() {
  fmt::print(stderr, "{}", terminal_->prompt);
  std::string line;
  return std::getline(std::cin, line) ? std::optional{line} : std::nullopt;
}

void LineEditor::remember(const std::string & /*line*/) {}

}  // namespace host
