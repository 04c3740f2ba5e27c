#pragma once

#include <string_view>

#include "host/names.hpp"

namespace host {

/// Writes to standard output, at once.
/// @throw InputError when it cannot be written (full disk, closed reader).
void write_output(std::string_view text);

/// Writes to standard error, at once.  When nobody reads it, nobody misses it: a failure is of no account.
void write_error(std::string_view text);

/// Writes a line for people to standard error, after the name of the program.
void complain(std::string_view message);

}  // namespace host
