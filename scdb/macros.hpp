#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "libscfjtag.h"
#include "scdb/export.hpp"
#include "scdb/units.hpp"

/// The macros of the loaded libraries.  There is no list of them: they are read from the libraries' own dynamic symbol
/// tables by the naming rule, prefix "_" four upper-case hexadecimal digits "_" four decimal digits.
namespace scdb {

/// What macros' names begin with, and the kind of unit that such macros work on.
struct MacroPrefix {
  std::string_view text;
  ChipKind kind;
};
inline constexpr std::array<MacroPrefix, 7> MACRO_PREFIXES{{
    {"cp", ChipKind::cpu},
    {"cpj", ChipKind::cpu},
    {"ma", ChipKind::mac},
    {"sc", ChipKind::sc},
    {"xb", ChipKind::xb},
    {"io", ChipKind::ioc},
    {"sp", ChipKind::sp},
}};

/// The parts of a macro's name.
struct MacroName {
  std::string_view prefix;  ///< one of MACRO_PREFIXES
  unsigned number = 0;      ///< test number, 0 to 0xFFFF
  unsigned variant = 0;     ///< 0 to 9999
};

/// Takes a name apart; nullopt when it is not a macro's.
[[nodiscard]] SCDB_API std::optional<MacroName> parse_macro_name(std::string_view name);

/// A macro found in a loaded library.
struct Macro {
  std::string name;
  unsigned number = 0;
  unsigned variant = 0;
  macro_entry *entry = nullptr;
  std::string library;         ///< path of the library
  std::string identification;  ///< its mcrid text, empty when the library has none for it
};

/// The fields of an identification string "MACRO: NAME (REVISION)  DATE TIME  GROUP AUTHOR".
struct Identification {
  std::string_view name;
  std::string_view revision;  ///< four digits
  std::string_view date;      ///< yyyy.mm.dd
  std::string_view time;      ///< hh:mm:ss
  std::string_view group;
  std::string_view author;  ///< free text
};
[[nodiscard]] SCDB_API std::optional<Identification> parse_identification(std::string_view text);

/// Why a macro library was not loaded; what() is one line for people.
class [[nodiscard]] SCDB_API LibraryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  LibraryError(const LibraryError &) = default;
  LibraryError &operator=(const LibraryError &) = default;
  ~LibraryError() override;
};

/// Loads a macro library into the process for good.
/// @throw LibraryError when the file does not exist, is no library for this processor, needs something that is not
///        there, exports no macro, or, when running as root, others than root may write it or its folder.
SCDB_API void load_macro_library(const std::string &path);

/// Every macro of every loaded library, ordered by library in the order of loading, then by name.
[[nodiscard]] SCDB_API std::span<const Macro> macros();

/// The macro of this exact name, or null.
[[nodiscard]] SCDB_API const Macro *find_macro(std::string_view name);

/// The macro with this test number, or null: of several, that of the first library, then of the lowest variant.
[[nodiscard]] SCDB_API const Macro *find_macro(unsigned number);

}  // namespace scdb
