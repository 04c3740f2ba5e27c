#include <fmt/format.h>
#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <string_view>
#include <utility>

#include "host/shell/line_editor.hpp"
#include "host/shell/terminal/interruptible.hpp"

namespace host {
namespace {

constexpr int EARLIER_LINES = 1000;
constexpr std::size_t COLUMNS_IF_UNKNOWN = 80;
// What mbrtowc() says of bytes.
constexpr auto INVALID = static_cast<std::size_t>(-1);
constexpr auto INCOMPLETE = static_cast<std::size_t>(-2);

/// Reads a character for the editor.
/// @return 1, 0 at the end of the input, -1 after Ctrl-C or an error.
int read_character(EditLine * /*line*/, wchar_t *character) {
  std::mbstate_t state{};
  for (;;) {
    char byte = 0;
    if (!Interruptible::wait_for_key())
      return -1;
    const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
    if (count <= 0)
      return static_cast<int>(count);
    const std::size_t length = std::mbrtowc(character, &byte, 1, &state);
    if (length == INCOMPLETE)
      continue;
    // What is no character of this language is a byte.
    if (length == INVALID)
      *character = static_cast<unsigned char>(byte);
    return 1;
  }
}

/// Characters, of which one may be several bytes.
std::size_t characters(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

std::size_t columns_of_terminal() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : COLUMNS_IF_UNKNOWN;
}

/// The candidates in columns, top to bottom, without what they have in common up to the last place where a name can
/// end.
std::string table_of(const std::vector<Candidate> &candidates, std::size_t columns) {
  const std::size_t cut = common_beginning(candidates).find_last_of("/=+,") + 1;
  std::size_t width = 0;
  for (const Candidate &candidate : candidates)
    width = std::max(width, characters(candidate.text) - cut + 2);
  const std::size_t across = std::max<std::size_t>(columns / width, 1);
  const std::size_t rows = (candidates.size() + across - 1) / across;
  std::string table;
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t at = row; at < candidates.size(); at += rows) {
      const std::string_view shown = std::string_view{candidates[at].text}.substr(cut);
      const bool last = at + rows >= candidates.size();
      table += fmt::format("{}{:{}}", shown, "", last ? 0 : width - characters(shown));
    }
    table += '\n';
  }
  return table;
}

}  // namespace

const bool LineEditor::COMPLETES = true;

struct LineEditor::Terminal {
  Terminal(std::string prompt_text, Completer how)
      : prompt{std::move(prompt_text)},
        completer{std::move(how)},
        editor{el_init("mcrhost", stdin, stderr, stderr)},
        earlier{history_init()} {
    history(earlier, &event, H_SETSIZE, EARLIER_LINES);
    history(earlier, &event, H_SETUNIQUE, 1);
    el_set(editor, EL_CLIENTDATA, this);
    el_set(
        editor, EL_PROMPT, +[](EditLine *line) { return of(line).prompt.data(); });
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_GETCFN, read_character);
    el_set(editor, EL_HIST, history, earlier);
    el_set(
        editor, EL_ADDFN, "complete", "Complete the word",
        +[](EditLine *line, int /*key*/) { return of(line).complete(); });
    el_set(editor, EL_BIND, "^I", "complete", nullptr);
    el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    // The user's own settings, ~/.editrc.
    el_source(editor, nullptr);
  }
  ~Terminal() {
    el_end(editor);
    history_end(earlier);
  }
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

  static Terminal &of(EditLine *line) {
    void *self = nullptr;
    el_get(line, EL_CLIENTDATA, &self);
    return *static_cast<Terminal *>(self);
  }

  /// Puts in what all candidates have in common; where that is nothing new, shows them.
  unsigned char complete() const {
    const LineInfo *const line = el_line(editor);
    const std::string_view typed{line->buffer, static_cast<std::size_t>(line->cursor - line->buffer)};
    const LineCompletion completion = completer(typed);
    if (completion.candidates.empty())
      return CC_REFRESH_BEEP;
    const std::string before{typed.substr(completion.start)};
    std::string after = common_beginning(completion.candidates);
    const bool one = completion.candidates.size() == 1;
    if (one && completion.candidates.front().finished)
      after += ' ';
    if (!one && after.size() <= before.size()) {
      fmt::print(stderr, "\n{}", table_of(completion.candidates, columns_of_terminal()));
      return CC_REDISPLAY;
    }
    if (!after.starts_with(before))
      el_deletestr(editor, static_cast<int>(characters(before)));
    el_insertstr(editor, after.c_str() + (after.starts_with(before) ? before.size() : 0));
    return CC_REFRESH;
  }

  std::string prompt;
  Completer completer;
  EditLine *editor;
  History *earlier;
  HistEvent event{};
};

LineEditor::LineEditor(std::string prompt, Completer completer) {
  // Names of files may have other letters than English ones.
  static_cast<void>(std::setlocale(LC_CTYPE, ""));
  terminal_ = std::make_unique<Terminal>(std::move(prompt), std::move(completer));
}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::read() {
  el_resize(terminal_->editor);
  const Interruptible interruptible;
  // Before the prompt is there: keys that are pressed at once are the editor's, and not the terminal's own.
  el_set(terminal_->editor, EL_PREP_TERM, 1);
  int length = 0;
  const char *const text = el_gets(terminal_->editor, &length);
  if (text != nullptr && length > 0) {
    std::string line{text, static_cast<std::size_t>(length)};
    line.erase(line.find_last_not_of("\r\n") + 1);
    return line;
  }
  if (Interruptible::interrupted())
    fmt::print(stderr, "^C");
  fmt::print(stderr, "\n");
  return Interruptible::interrupted() ? std::optional{std::string{}} : std::nullopt;
}

void LineEditor::remember(const std::string &line) {
  history(terminal_->earlier, &terminal_->event, H_ENTER, line.c_str());
}

}  // namespace host
