#include "host/command/output.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "engine/text/error.hpp"

namespace host {

void write_output(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
    throw InputError(fmt::format("cannot write standard output: {}", std::strerror(errno)));
}

void write_error(std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

void complain(std::string_view message) {
  write_error(fmt::format("mcrhost: {}\n", message));
}

}  // namespace host
