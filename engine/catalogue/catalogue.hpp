#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "engine/catalogue/expression.hpp"
#include "libscfjtag.h"
#include "scdb/units.hpp"

/// What macros mean, as the files of catalogue/ tell it (docs/catalogue.md).
namespace engine {

/// What _RW holds.
inline constexpr macro_word RW_READ = 1;
inline constexpr macro_word RW_WRITE = 2;
inline constexpr macro_word RW_NONE = MACRO_ALL;

/// Neighbouring bits of a word, counted from the least significant.
struct Bits {
  unsigned least = 0;
  unsigned most = 31;

  [[nodiscard]] unsigned width() const { return most - least + 1; }
  /// The largest value that fits.
  [[nodiscard]] macro_word limit() const { return MACRO_ALL >> (31 - (most - least)); }
  [[nodiscard]] macro_word get(macro_word word) const { return word >> least & limit(); }
  [[nodiscard]] macro_word put(macro_word word, macro_word value) const {
    return (word & ~(limit() << least)) | (value & limit()) << least;
  }
  [[nodiscard]] bool whole() const { return width() == 32; }
};

/// A value that means something; the name may be empty.
struct NamedValue {
  macro_word value = 0;
  std::string name;
  std::string title;
};

/// A bit of a field that stands for itself.
struct Flag {
  unsigned bit = 0;
  std::string name;
  std::string title;
};

/// Met when the parameter has one of the values, or one of the flags set.
struct Condition {
  std::string parameter;
  std::vector<macro_word> values;
  macro_word flags = 0;
};

/// When a part of an entry holds.
struct Scope {
  std::vector<std::string> directions;  ///< empty = all
  std::vector<Condition> when;          ///< all of them
};

/// A value of _RW.
struct MacroDirection {
  macro_word rw = 0;
  std::string name;
  std::string title;
};

/// A macro that another one calls, handing on its own _PARA.
struct CalledMacro {
  macro_word rw = 0;           ///< direction
  std::size_t data_words = 0;  ///< words of _DATA that the caller has for it
};

/// A field of a word of _PARA.
struct Parameter : Scope {
  std::string name;
  std::string title;
  std::size_t word = 0;
  Bits bits;
  std::optional<std::pair<Expression, Expression>> range;  ///< least and most accepted value
  std::vector<NamedValue> values;                          ///< accepted values where there is no range
  std::vector<Flag> flags;
  std::optional<macro_word> value_if_missing;  ///< nothing: it must be given
  std::optional<std::int32_t> refused;         ///< sub-code; nothing: the macro does not look
  std::optional<CalledMacro> calls;            ///< when it is the test number of a macro to be called
  bool hexadecimal = false;                    ///< its numbers are written so, as the catalogue writes them
};

/// How a field is shown.
enum class FieldKind : std::uint8_t { hex, number, signed_number, flag, boards, chips, syndrome };

/// The error-correcting code that a syndrome belongs to.
enum class SyndromeCode : std::uint8_t { front, behind, tag };

/// A field of a record of _DATA.
struct DataField {
  struct Piece {
    std::size_t word = 0;
    Bits bits;
  };
  std::string name;
  std::string title;
  std::vector<Piece> pieces;  ///< the most significant first, 64 bits at most
  FieldKind kind = FieldKind::hex;
  SyndromeCode code = SyndromeCode::front;
  std::vector<NamedValue> values;
  std::vector<Flag> flags;

  [[nodiscard]] unsigned width() const;
};

/// Records of _DATA that follow one another.
struct DataBlock : Scope {
  std::string name;
  std::string title;
  bool input = false;
  bool optional = false;
  Expression start{0};
  Expression size{1};
  Expression count{1};
  Expression number{0};
  std::optional<Expression> modulo;
  std::vector<std::string> labels;
  std::vector<DataField> fields;
};

/// A sub-code of a refused parameter.
struct Refusal {
  std::int32_t subcode = 0;
  std::string title;
};

/// Where something may be found: in a word of _DATA, or in a field of each record of a block.
struct FindingWord {
  std::size_t index = 0;
  macro_word mask = MACRO_ALL;
};
struct FindingField {
  std::string data;
  std::string field;  ///< empty: the record's first word
};

/// What a run that did not fail may have found.
struct FindingRule : Scope {
  std::string title;
  std::variant<FindingWord, FindingField> place;
  std::optional<std::uint64_t> equals;  ///< nothing: it is found when not 0
};

/// Number of primitive calls.
struct AccessCount : Scope {
  Expression count;
};

/// When something is so: always, never, or with some directions.
struct When {
  bool always = false;
  std::vector<std::string> directions;

  [[nodiscard]] bool never() const { return !always && directions.empty(); }
  /// @param direction  null for one that the entry does not list.
  [[nodiscard]] bool with(const MacroDirection *direction) const;
};

struct MacroEntry {
  std::string name;
  std::string family;  ///< short name, that of the file
  std::string family_title;
  scdb::ChipKind unit{};
  std::string title;
  std::string text;
  When changes;   ///< the state of the hardware
  When together;  ///< works on all chips of a unit in one run, rather than on each alone
  std::vector<unsigned> calls;
  std::vector<AccessCount> accesses;
  std::string otherwise;  ///< what a direction does that is not listed; empty: nothing
  std::vector<MacroDirection> directions;
  std::vector<Parameter> parameters;
  std::vector<DataBlock> data;
  std::vector<Refusal> errors;
  std::vector<FindingRule> findings;

  [[nodiscard]] const MacroDirection *direction(macro_word rw) const;
  [[nodiscard]] const MacroDirection *direction(std::string_view direction_name) const;
  /// The meaning of a sub-code with this macro; empty where the entry does not tell.
  [[nodiscard]] std::string_view title_of_sub_code(macro_word subcode) const;
};

struct Family {
  std::string name;
  std::string title;
  std::string text;
  std::vector<MacroEntry> macros;
};

/// Reads a file of the catalogue.
/// @param origin  the file's name for messages.
/// @param name    the family's short name.
/// @throw InputError with file, line and column.
[[nodiscard]] Family read_family(std::string_view text, const std::string &origin, std::string_view name);

/// Where entries come from: what is built in, or the files of a folder.
class Catalogue {
 public:
  /// @param folder  empty for what is built in.
  /// @throw InputError when the folder has no catalogue files, or one cannot be read.
  explicit Catalogue(const std::string &folder);

  /// The entry of a macro, null where there is none.  Only files that mention the macro are taken apart, each of them
  /// once.
  /// @throw InputError
  [[nodiscard]] std::shared_ptr<const MacroEntry> find(std::string_view macro) const;
  /// All families, ordered by name.
  /// @throw InputError
  [[nodiscard]] std::vector<std::shared_ptr<const Family>> families() const;

 private:
  struct File {
    std::string name;
    std::string origin;
    std::string text;
    mutable std::shared_ptr<const Family> family;  ///< null until somebody asks for it

    [[nodiscard]] const std::shared_ptr<const Family> &read() const;
  };
  std::vector<File> files_;
};

}  // namespace engine
