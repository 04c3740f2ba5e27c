#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "engine/catalogue/arguments.hpp"

namespace engine {

/// Words for a run, and the fields to be put into them.
struct RunWords {
  std::vector<macro_word> para;
  std::vector<macro_word> data;
};

/// A number from -2147483648 to 0xFFFFFFFF, a negative one standing for its two's complement; or the name of one, which
/// may also be a number as people write it.
using GivenValue = std::variant<std::int64_t, std::string>;

/// A field by its name, and its value.
struct FieldValue {
  std::string name;
  GivenValue value;
};
/// "index=5"
[[nodiscard]] std::string describe(const FieldValue &field);

/// Puts fields, and the default values of others, into words; those given stay as they are.
/// @throw InputError for an unknown field, a value that the macro does not accept, a word that is given as well, a
///        field or input that is missing; the message says what would be right.
[[nodiscard]] RunWords with_fields(const MacroEntry &entry, macro_word rw, RunWords given,
                                   const std::vector<FieldValue> &fields);

/// The names that can be given as NAME=VALUE, in the order of the entry.
/// @param direction  leaves out those that it does not look at; null: all.
[[nodiscard]] std::vector<std::string> field_names(const MacroEntry &entry, const MacroDirection *direction = nullptr);

/// The names that values of a field have, and those of flags, which can be joined.
struct ValueNames {
  std::vector<std::string> values;
  std::vector<std::string> flags;
};
[[nodiscard]] ValueNames value_names(const MacroEntry &entry, std::string_view field);

/// A direction as it is asked for: nothing for the usual one, read; a number; or a name: one of the entry's, read,
/// write, none, or a number as people write it.
using DirectionChoice = std::variant<std::monostate, macro_word, std::string>;

/// The value of _RW.
/// @param entry  null for a macro without one.
/// @throw InputError
[[nodiscard]] macro_word direction_of(const DirectionChoice &choice, const MacroEntry *entry);

/// What a parameter accepts, in words: "0 to 511", "bytes (0), 1, 2".
/// @param arguments  for ranges that depend on other parameters; null: their expressions are shown.
[[nodiscard]] std::string accepted_by(const Parameter &parameter, const Arguments *arguments);

/// A value as `run` takes it: its name, the names of its flags, or a number.
[[nodiscard]] std::string value_text(const Parameter &parameter, macro_word value);

/// "_PARA[0] bits 3-4".
[[nodiscard]] std::string place_of(const Parameter &parameter);
/// "bits 3-4", "bit 7"; empty for a whole word.
[[nodiscard]] std::string describe(const Bits &bits);

}  // namespace engine
