#include "engine/text/file.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "engine/text/error.hpp"

namespace engine {
namespace {

constexpr std::size_t CHUNK = 65536;
/// The largest file that is read: more than any state or data file has, and an end to what has none.
constexpr std::size_t LARGEST_FILE = std::size_t{256} << 20;

[[noreturn]] void fail(const Label &what, std::string_view verb, const std::string &path, int error) {
  throw what.error(fmt::format("cannot {} '{}': {}", verb, path, std::strerror(error)));
}

/// A file that is being written; closed, and removed when it is a temporary one, unless it was finished.
class Output {
 public:
  Output(int descriptor, std::string temporary) : descriptor_{descriptor}, temporary_{std::move(temporary)} {}
  ~Output() {
    if (descriptor_ >= 0)
      ::close(descriptor_);
    if (!temporary_.empty())
      ::unlink(temporary_.c_str());
  }
  Output(const Output &) = delete;
  Output &operator=(const Output &) = delete;

  [[nodiscard]] int descriptor() const { return descriptor_; }

  [[nodiscard]] bool write(std::string_view bytes) const {
    while (!bytes.empty()) {
      const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
      if (written < 0 && errno != EINTR)
        return false;
      bytes.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
  }

  [[nodiscard]] bool close() { return ::close(std::exchange(descriptor_, -1)) == 0; }

  [[nodiscard]] bool rename_to(const std::string &path) {
    if (std::rename(temporary_.c_str(), path.c_str()) != 0)
      return false;
    temporary_.clear();
    return true;
  }

 private:
  int descriptor_;
  std::string temporary_;
};

/// The permissions of a new file: those of the one it replaces, else the process's usual ones.
mode_t permissions(bool exists, const struct stat &status) {
  if (exists)
    return status.st_mode & 07777;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

/// A rename is on the disk when its folder is.  Not every file system can do it; the file itself is safe by then.
void sync_folder_of(const std::string &path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  const int descriptor = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0)
    return;
  ::fsync(descriptor);
  ::close(descriptor);
}

void write_in_place(const std::string &path, std::string_view bytes, const Label &what) {
  Output output{::open(path.c_str(), O_WRONLY | O_CLOEXEC), {}};
  if (output.descriptor() < 0 || !output.write(bytes) || !output.close())
    fail(what, "write", path, errno);
}

}  // namespace

std::optional<std::string> read_file_if_any(const std::string &path, const Label &what) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0 && errno == ENOENT)
    return std::nullopt;
  if (descriptor < 0)
    fail(what, "read", path, errno);
  std::string bytes;
  std::array<char, CHUNK> chunk{};
  ssize_t count = 0;
  while ((count = ::read(descriptor, chunk.data(), chunk.size())) != 0) {
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0)
      break;
    bytes.append(chunk.data(), static_cast<std::size_t>(count));
    if (bytes.size() > LARGEST_FILE) {
      ::close(descriptor);
      fail(what, "read", path, EFBIG);
    }
  }
  const int error = errno;
  ::close(descriptor);
  if (count < 0)
    fail(what, "read", path, error);
  return bytes;
}

std::string read_file(const std::string &path, const Label &what) {
  std::optional<std::string> bytes = read_file_if_any(path, what);
  if (!bytes)
    fail(what, "read", path, ENOENT);
  return *std::move(bytes);
}

void check_writable(const std::string &path, const Label &what) {
  struct stat status {};
  const bool exists = ::stat(path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    const Output output{::open(path.c_str(), O_WRONLY | O_CLOEXEC), {}};
    if (output.descriptor() < 0)
      fail(what, "write", path, errno);
    return;
  }
  std::string temporary = path + ".XXXXXX";
  const int descriptor = ::mkstemp(temporary.data());
  if (descriptor < 0)
    fail(what, "write", path, errno);
  const Output removed{descriptor, temporary};
}

void write_file(const std::string &path, std::string_view bytes, const Label &what) {
  struct stat status {};
  const bool exists = ::stat(path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode))
    return write_in_place(path, bytes, what);

  std::error_code ignored;
  const std::string target = exists ? std::filesystem::canonical(path, ignored).string() : path;
  std::string temporary = target + ".XXXXXX";
  const int descriptor = ::mkstemp(temporary.data());
  if (descriptor < 0)
    fail(what, "write", path, errno);
  Output output{descriptor, temporary};
  if (!output.write(bytes) || ::fchmod(descriptor, permissions(exists, status)) != 0 || ::fsync(descriptor) != 0
      || !output.close() || !output.rename_to(target))
    fail(what, "write", path, errno);
  sync_folder_of(target);
}

}  // namespace engine
