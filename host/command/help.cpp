#include "host/command/help.hpp"

#include "engine/text/page.hpp"

namespace host {

std::string HelpFormatter::make_option_name(const CLI::Option *option, bool positional) const {
  const std::string name = CLI::Formatter::make_option_name(option, positional);
  const std::size_t brace = name.find('{');
  return brace == std::string::npos ? name : name.substr(0, brace) + "[=FILE]";
}

std::string HelpFormatter::make_option_opts(const CLI::Option *option) const {
  const std::string &value = option->get_option_text();
  return value.empty() ? value : " " + value;
}

std::string HelpFormatter::make_option_desc(const CLI::Option *option) const {
  const std::string &text = option->get_description();
  const std::size_t width = PAGE_WIDTH - get_column_width();
  std::string lines;
  std::size_t begin = 0;
  while (text.size() - begin > width) {
    const std::size_t blank = text.rfind(' ', begin + width);
    if (blank == std::string::npos || blank <= begin)
      break;
    lines += text.substr(begin, blank - begin) + "\n";
    begin = blank + 1;
  }
  return lines + text.substr(begin);
}

std::vector<const CLI::App *> commands_shown(const CLI::App &app) {
  return app.get_subcommands([](const CLI::App *command) { return !command->get_group().empty(); });
}

}  // namespace host
