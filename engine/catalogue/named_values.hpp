#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/catalogue/decode.hpp"

/// Results of runs by the names that the catalogue has for them.
namespace engine {

/// A result as reports of runs name it: "value" for a field of a single record, "register 5" for a record of one word,
/// "lane 0.locked" for a field of one record of several.
struct ShownValue {
  std::string name;
  const DataField *field = nullptr;    ///< null for a record that has no fields
  std::optional<std::uint64_t> value;  ///< nothing where it was not written
};

/// All that the entry lays out in _DATA and that was written at least in part.
[[nodiscard]] std::vector<ShownValue> shown_values(std::span<const DecodedBlock> blocks);

/// As the run shows it.
[[nodiscard]] std::string shown_text(const ShownValue &value);

/// What a result should be: a number, or what is shown for it.
struct NamedExpectation {
  std::string name;
  std::optional<std::uint64_t> number;
  std::string text;  ///< for people; what is compared where there is no number
};

/// Checks an expectation; the text of one that is a number becomes what is shown for it.
/// @throw InputError for a name that the entry does not lay out for these arguments, and for a value that the result
///        cannot have.
void check(NamedExpectation &expectation, const Arguments &arguments);

/// Whether the result is as expected.
[[nodiscard]] bool holds(const NamedExpectation &expectation, const ShownValue &value);

}  // namespace engine
