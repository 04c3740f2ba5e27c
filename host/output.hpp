#pragma once

#include <string_view>

namespace host {

/// Writes to standard output, at once.
/// @throw InputError when it cannot be written (full disk, closed reader).
void write_output(std::string_view text);

/// Writes a line for people to standard error, after the name of the program.
void complain(std::string_view message);

}  // namespace host
