#include "help.hpp"

namespace host {

std::string HelpFormatter::make_option_name(const CLI::Option *option, bool positional) const {
  const std::string name = CLI::Formatter::make_option_name(option, positional);
  const std::size_t brace = name.find('{');
  return brace == std::string::npos ? name : name.substr(0, brace) + "[=FILE]";
}

std::vector<const CLI::App *> commands_shown(const CLI::App &app) {
  return app.get_subcommands([](const CLI::App *command) { return !command->get_group().empty(); });
}

}  // namespace host
