#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/catalogue.hpp"

namespace engine {

/// What a macro is run with, as its catalogue entry sees it.
class Arguments {
 public:
  /// All of them must outlive it.  Words beyond those of `para` are 0.
  Arguments(const MacroEntry &entry, macro_word rw, std::span<const macro_word> para)
      : entry_{entry}, rw_{rw}, para_{para} {}

  [[nodiscard]] const MacroEntry &entry() const { return entry_; }
  /// Null when the entry does not list it.
  [[nodiscard]] const Direction *direction() const { return entry_.direction(rw_); }
  /// The row of a parameter that holds; null when none does.
  [[nodiscard]] const Parameter *row(std::string_view parameter) const;
  /// A parameter's value, that of its first row where none holds.
  [[nodiscard]] macro_word value(std::string_view parameter) const;
  /// @throw InputError when it has no value for these words.
  [[nodiscard]] std::int64_t value(const Expression &expression) const;
  /// As value(), for what cannot be negative: sizes and counts.
  [[nodiscard]] std::size_t size(const Expression &expression) const;

  [[nodiscard]] bool met(const std::vector<Condition> &conditions) const;
  /// Whether a part of the entry holds; in a direction that is not listed, none does.
  [[nodiscard]] bool applies(const Scope &scope) const;
  /// Whether a parameter is looked at; in a direction that is not listed, those are that all directions look at.
  [[nodiscard]] bool uses(const Parameter &parameter) const;

  /// Words of _DATA that the macro reads, or, for results, writes: up to the last one of the layout.
  [[nodiscard]] std::size_t data_words(bool input) const;
  /// The number of primitive calls, where the entry tells it.
  [[nodiscard]] std::optional<std::int64_t> accesses() const;

 private:
  const MacroEntry &entry_;
  macro_word rw_;
  std::span<const macro_word> para_;
};

/// Words for a run, and the fields to be put into them.
struct RunWords {
  std::vector<macro_word> para;
  std::vector<macro_word> data;
};

/// Puts fields, each "NAME=VALUE", and the default values of others into words; those given stay as they are.
/// @throw InputError for an unknown field, a value that the macro does not accept, a word that is given as well, a
///        field or input that is missing; the message says what would be right.
[[nodiscard]] RunWords with_fields(const MacroEntry &entry, macro_word rw, RunWords given,
                                   const std::vector<std::string> &assignments);

/// The names that can be given as NAME=VALUE, in the order of the entry.
/// @param direction  leaves out those that it does not look at; null: all.
[[nodiscard]] std::vector<std::string> field_names(const MacroEntry &entry, const Direction *direction = nullptr);

/// The names that values of a field have, and those of flags, which can be joined.
struct ValueNames {
  std::vector<std::string> values;
  std::vector<std::string> flags;
};
[[nodiscard]] ValueNames value_names(const MacroEntry &entry, std::string_view field);

/// A direction as it is given to --rw: a name of the entry's, read, write, none, or a number.
/// @param text   empty for the usual one: read.
/// @param entry  null for a macro without one.
/// @throw InputError
[[nodiscard]] macro_word direction_of(std::string_view text, const MacroEntry *entry);

/// What a parameter accepts, in words: "0 to 511", "bytes (0), 1, 2".
/// @param arguments  for ranges that depend on other parameters; null: their expressions are shown.
[[nodiscard]] std::string accepted_by(const Parameter &parameter, const Arguments *arguments);

/// A value as `run` takes it: its name, the names of its flags, or a number.
[[nodiscard]] std::string text_of(const Parameter &parameter, macro_word value);

/// "_PARA[0] bits 3-4".
[[nodiscard]] std::string place_of(const Parameter &parameter);
/// "bits 3-4", "bit 7"; empty for a whole word.
[[nodiscard]] std::string describe(const Bits &bits);

}  // namespace engine
