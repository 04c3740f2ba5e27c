#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "engine/text/error.hpp"

namespace engine {

/// The bytes of a file.
/// @param what  what error messages start with.
/// @throw InputError when it cannot be read.
[[nodiscard]] std::string read_file(const std::string &path, const Label &what);

/// The same; nothing where there is no such file.
[[nodiscard]] std::optional<std::string> read_file_if_any(const std::string &path, const Label &what);

/// Replaces a file whole or not at all: the bytes go into a temporary file beside it, which takes its place when they
/// are on the disk.  A link stays a link, permissions stay as they are; what is no regular file is written in place.
/// @throw InputError when it cannot be written; no temporary file is left then.
void write_file(const std::string &path, std::string_view bytes, const Label &what);

/// Whether write_file() will have a place to write to, as far as can be told before.
/// @throw InputError as write_file() would.
void check_writable(const std::string &path, const Label &what);

}  // namespace engine
