#include "host/shell/history.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "engine/text/error.hpp"
#include "engine/text/file.hpp"
#include "engine/text/words.hpp"

namespace host {
namespace {

constexpr std::size_t KEPT = 1000;
constexpr mode_t OWNER_ONLY = 0600;

/// The folder for what programs keep of their users.
std::filesystem::path state_folder() {
  const char *const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && *state == '/')
    return state;
  const char *const home = std::getenv("HOME");
  if (home != nullptr && *home == '/')
    return std::filesystem::path{home} / ".local" / "state";
  throw InputError("neither XDG_STATE_HOME nor HOME names a folder");
}

/// This program's part of it, made where it is not there.
std::filesystem::path open_folder() {
  std::filesystem::path folder = state_folder() / "mcrhost";
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error)
    throw InputError(fmt::format("cannot make the folder '{}': {}", folder.string(), error.message()));
  return folder;
}

}  // namespace

KeptLines::KeptLines(Complaint complain) : complain_{std::move(complain)} {
  try {
    path_ = open_folder() / "history";
    const std::string text = read_file_if_any(path_, "history").value_or("");
    for (const std::string_view line : split(text, '\n'))
      if (!line.empty())
        earlier_.emplace_back(line);
    if (earlier_.size() > 2 * KEPT) {
      earlier_.erase(earlier_.begin(), earlier_.end() - static_cast<std::ptrdiff_t>(KEPT));
      write_file(path_, fmt::format("{}\n", fmt::join(earlier_, "\n")), "history");
    }
  } catch (const InputError &error) {
    give_up(error.what());
  }
}

void KeptLines::add(const std::string &line) {
  if (path_.empty() || (!earlier_.empty() && line == earlier_.back()))
    return;
  earlier_.push_back(line);
  const std::string bytes = line + "\n";
  const int file = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, OWNER_ONLY);
  const bool written = file >= 0 && write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  const int why = errno;
  if (file >= 0)
    close(file);
  if (!written)
    give_up(fmt::format("cannot write '{}': {}", path_, std::strerror(why)));
}

void KeptLines::give_up(const std::string &why) {
  complain_(fmt::format("lines are not kept for the next shell: {}", why));
  path_.clear();
}

}  // namespace host
