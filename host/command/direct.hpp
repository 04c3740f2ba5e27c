#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/run/chip_access.hpp"
#include "host/command/options.hpp"

#include "host/names.hpp"

/// Direct access to the hardware: the primitives called on one chip of a unit after another.
namespace host {

/// Options of every command that accesses chips directly.
struct DirectOptions {
  CommonOptions common;
  std::string unit;
  std::string trace;    ///< file, "-" for standard error; empty = no trace
  std::string timeout;  ///< seconds; empty = no limit
  std::string progress;
};

/// Adds --unit, --trace, --timeout, --progress, --state, --machine and --json.
void add_direct_options(Command &command, DirectOptions &options);

/// When a command that accesses chips directly ends with which status.
inline constexpr Endings DIRECT_ENDINGS{.ok = "every chip answered", .failed = "one failed"};

/// How many chips a unit may name.
enum class Chips : std::uint8_t { any, one };

/// Makes an access to every chip of the unit in ascending order, and prints what came of it.  A chip that fails does
/// not keep the others from being accessed; Ctrl-C and the time limit do.
/// @param title   what is done, "jtag read 0x0F".
/// @throw InputError, scdb::MachineError
[[nodiscard]] ExitStatus access_chips(const DirectOptions &options, const std::string &title, const ChipAccess &access,
                                      Chips how_many = Chips::any);

/// Reads a number that must lie in a range.
/// @throw InputError that names the range.
[[nodiscard]] macro_word parse_in_range(std::string_view text, std::string_view what, macro_word least,
                                        macro_word most);

}  // namespace host
