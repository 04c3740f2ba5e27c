#include "host/command/trace_file.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "engine/text/error.hpp"

namespace host {

TraceFile::TraceFile(const std::string &path)
    : path_{path == STANDARD_ERROR ? "" : path},
      out_{path_.empty() ? std::cerr : file_},
      trace_{[this](std::string_view text) { out_ << text; }},
      observing_{trace_} {
  if (path_.empty())
    return;
  file_.open(path_);
  if (!file_)
    throw InputError(fmt::format("--trace: cannot write '{}': {}", path_, std::strerror(errno)));
}

void TraceFile::finish() {
  if (out_.flush())
    return;
  const std::string reason = std::strerror(errno);
  std::error_code unknown;
  if (std::filesystem::is_regular_file(path_, unknown))
    std::filesystem::remove(path_, unknown);
  throw InputError(
      fmt::format("--trace: cannot write {}: {}", path_.empty() ? "standard error" : "'" + path_ + "'", reason));
}

}  // namespace host
