#include "host/shell/line_words.hpp"

#include <fmt/format.h>

#include "engine/text/error.hpp"

namespace host {
namespace {

constexpr std::string_view BLANKS = " \t\r\n";
/// What a backslash takes the meaning of within "...".
constexpr std::string_view KEPT_IN_QUOTES = "\"\\$`";
/// What means something to this shell or to others.
constexpr std::string_view SPECIAL = " \t\r\n'\"\\$`&;()<>|?[]!#~{}";

}  // namespace

LineWords take_apart(std::string_view line) {
  LineWords result;
  for (std::size_t at = 0; at < line.size(); ++at) {
    const char c = line[at];
    if (result.open == '\0' && BLANKS.find(c) != std::string_view::npos) {
      result.blank = true;
      continue;
    }
    if (result.blank && c == '#') {
      result.comment = true;
      break;
    }
    if (result.blank) {
      result.words.emplace_back();
      result.last = at;
      result.blank = false;
    }
    std::string &word = result.words.back();
    if (c == '\\' && result.open != '\'') {
      const bool within = result.open == '"';
      if (at + 1 == line.size())
        result.open = '\\';
      else if (within && KEPT_IN_QUOTES.find(line[at + 1]) == std::string_view::npos)
        word += c;
      else
        word += line[++at];
    } else if (c == result.open) {
      result.open = '\0';
    } else if (result.open == '\0' && (c == '\'' || c == '"')) {
      result.open = c;
    } else {
      word += c;
    }
  }
  if (result.blank)
    result.last = line.size();
  return result;
}

std::vector<std::string> words_of(std::string_view line) {
  LineWords taken = take_apart(line);
  if (taken.open == '\\')
    throw InputError("nothing follows the \\ at the end of the line");
  if (taken.open != '\0')
    throw InputError(fmt::format("the quote {} is not closed", line.substr(taken.last)));
  return std::move(taken.words);
}

std::string quoted_word(std::string_view text) {
  std::string word;
  for (const char c : text) {
    if (SPECIAL.find(c) != std::string_view::npos)
      word += '\\';
    word += c;
  }
  return word.empty() ? "''" : word;
}

}  // namespace host
