#include <exception>

#include "host/command/command_line.hpp"
#include "host/command/option_names.hpp"
#include "host/command/output.hpp"

int main(int argc, char **argv) {
  try {
    host::CommandLine commands;
    return static_cast<int>(commands.parse({argv + 1, argv + argc})());
  } catch (const host::InputError &error) {
    host::complain(error.text(host::option_name));
    return static_cast<int>(host::ExitStatus::usage);
  } catch (const std::exception &error) {
    host::complain(error.what());
    return static_cast<int>(host::ExitStatus::usage);
  }
}
