#include "host/command/help.hpp"

#include <fmt/format.h>

#include "engine/text/page.hpp"
#include "host/command/exit_status.hpp"

namespace host {
namespace {

/// The text in lines of at most so many columns.
std::string wrapped(std::string_view text, std::size_t width) {
  std::string lines;
  while (text.size() > width) {
    const std::size_t blank = text.rfind(' ', width);
    if (blank == std::string_view::npos || blank == 0)
      break;
    lines += fmt::format("{}\n", text.substr(0, text.find_last_not_of(' ', blank) + 1));
    text.remove_prefix(blank + 1);
  }
  return lines.append(text);
}

/// "Ends with 0 when every chip answered, 1 when one of them failed, 2 for wrong usage."
std::string sentence_of(const Endings &endings) {
  std::string sentence = "Ends with ";
  for (const ExitStatusInfo &info : EXIT_STATUSES) {
    // What is wrong usage is said at length in the manual.
    const std::string_view own = info.status == ExitStatus::usage ? std::string_view{} : endings.of(info.status);
    sentence += fmt::format("{}{} {} {}", info.status == ExitStatus::ok ? "" : ", ", static_cast<int>(info.status),
                            own.empty() ? "for" : "when", own.empty() ? info.name : own);
  }
  return sentence + ".";
}

}  // namespace

std::string HelpFormatter::make_option_name(const CLI::Option *option, bool positional) const {
  const std::string name = CLI::Formatter::make_option_name(option, positional);
  const std::size_t brace = name.find('{');
  return brace == std::string::npos ? name : fmt::format("{}[={}]", name.substr(0, brace), option->get_option_text());
}

std::string HelpFormatter::make_option_opts(const CLI::Option *option) const {
  std::string text;
  const int words = most_words(*option);
  // An argument stands for its value by its name, unless it takes many.
  if (const std::string &value = option->get_option_text();
      !value.empty() && words > (option->get_positional() ? 1 : 0))
    text += fmt::format(" {}{}", value, words > 1 ? "..." : "");
  if (option->get_required())
    text += " (required)";
  return text;
}

std::string HelpFormatter::make_option_desc(const CLI::Option *option) const {
  return wrapped(option->get_description(), PAGE_WIDTH - get_column_width());
}

std::string HelpFormatter::make_footer(const CLI::App *app) const {
  const std::string footer = app->get_footer();
  return footer == "\n" ? std::string{} : footer;
}

std::string help_below_options(const CommandText &text) {
  std::string below;
  const auto begin = [&below] { below += below.empty() ? "" : "\n\n"; };
  if (!text.examples.empty()) {
    below += text.examples.size() == 1 ? "Example:" : "Examples:";
    for (const std::string &example : text.examples)
      below += "\n  " + example;
  }
  for (const std::string &paragraph : text.paragraphs) {
    begin();
    below += wrapped(paragraph, PAGE_WIDTH);
  }
  if (text.endings) {
    begin();
    below += wrapped(sentence_of(*text.endings), PAGE_WIDTH);
  }
  return below;
}

}  // namespace host
