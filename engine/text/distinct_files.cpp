#include "engine/text/distinct_files.hpp"

#include <fmt/format.h>

#include <filesystem>

#include "engine/text/error.hpp"

namespace engine {
namespace {

/// The name without links and dots, also of a file that does not exist yet.
std::filesystem::path canonical_name(const std::filesystem::path &path) {
  std::error_code unknown;
  return std::filesystem::weakly_canonical(std::filesystem::absolute(path, unknown), unknown);
}

bool same_file(const std::filesystem::path &a, const std::filesystem::path &b) {
  std::error_code unknown;
  if (std::filesystem::exists(a, unknown) && !std::filesystem::is_regular_file(a, unknown))
    return false;
  return std::filesystem::equivalent(a, b, unknown) || canonical_name(a) == canonical_name(b);
}

}  // namespace

void check_distinct(const std::vector<NamedFile> &files) {
  for (auto file = files.begin(); file != files.end(); ++file)
    for (auto other = files.begin(); other != file; ++other)
      if (!file->path.empty() && !other->path.empty() && same_file(file->path, other->path))
        throw InputError(fmt::format("{} and {} name the same file, '{}'; one would overwrite the other", other->what,
                                     file->what, file->path));
}

}  // namespace engine
