#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
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
  [[nodiscard]] const MacroDirection *direction() const { return entry_.direction(rw_); }
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
  /// Words of _DATA that the macro may use, read or write; nothing where the entry says nothing of _DATA, or does not
  /// tell what the macro does in this direction.
  [[nodiscard]] std::optional<std::size_t> area_words() const;
  /// The number of primitive calls, where the entry tells it.
  [[nodiscard]] std::optional<std::int64_t> accesses() const;

 private:
  const MacroEntry &entry_;
  macro_word rw_;
  std::span<const macro_word> para_;
};

}  // namespace engine
