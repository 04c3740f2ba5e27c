#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "scdb/macros.hpp"
#include "scdb/units.hpp"

namespace engine {

/// The environment variable that names macro libraries, several joined by ":".
inline constexpr const char *LIBRARY_VARIABLE = "MACRODEBUG_LIBRARY";

/// Loads the macro libraries: those given, else those of the environment, else the one beside the primitive library.
/// @throw scdb::LibraryError
void load_libraries(const std::vector<std::string> &given);

/// The macro that a text means: its name in upper or lower case, its name without the variant, or its test number
/// ("cp_9A10_0101", "cp_9a10", "9A10", "0x9A10") where only one macro answers to it.
/// @throw InputError for none or several; the message offers the nearest names.
[[nodiscard]] const scdb::Macro &macro_named(std::string_view text);

/// The kind of chip that a macro is made for, by its prefix.
[[nodiscard]] scdb::ChipKind kind_of(const scdb::Macro &macro);

}  // namespace engine
