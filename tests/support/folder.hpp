#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace support {

/// A folder of the test's own, for the length of a scope.
class Folder {
 public:
  Folder() { std::filesystem::create_directories(path_); }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;

  /// The path of a file in it, whether there is one or not.
  [[nodiscard]] std::string path(std::string_view name) const { return (path_ / name).string(); }
  /// Writes one, and gives its path.
  std::string write(std::string_view name, std::string_view text) const {
    std::ofstream{path_ / name, std::ios::binary} << text;
    return path(name);
  }
  [[nodiscard]] std::string read(std::string_view name) const {
    std::ifstream file{path_ / name, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
  }

 private:
  std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("macrodebug_test." + std::to_string(getpid()));
};

}  // namespace support
