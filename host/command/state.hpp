#pragma once

#include <string>

#include "host/names.hpp"

namespace host {

/// Puts the machine behind the primitives into the state that a file keeps; where there is no such file the machine
/// stays as it is.
/// @throw InputError when the file cannot be read, or does not fit this machine.
void load_state(const std::string &path);

/// Keeps the machine's state in a file, whole or not at all; an empty path keeps nothing.
/// @throw InputError when the machine gives no state, or the file cannot be written.
void save_state(const std::string &path);

}  // namespace host
