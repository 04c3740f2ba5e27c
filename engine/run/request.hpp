#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/catalogue/fields.hpp"
#include "engine/run/runner.hpp"

namespace engine {

/// The largest _DATA that can be asked for, in words.
inline constexpr macro_word DATA_WORDS_LIMIT = macro_word{1} << 24;
/// The most runs in a row that can be asked for.
inline constexpr macro_word REPEAT_LIMIT = 1'000'000;

/// A run as it is asked for; all but the macro may be left out.
struct RunOrder {
  std::string macro;  ///< name or test number
  DirectionChoice direction;
  std::vector<FieldValue> fields;
  std::vector<macro_word> para;          ///< first words of _PARA
  std::vector<macro_word> data;          ///< first words of _DATA
  std::optional<macro_word> data_words;  ///< size of _DATA; nothing: what the macro uses
  OpenRings rings = OpenRings::usual;
};

/// What is to be run, but for the unit.  The macro libraries must have been loaded.
/// @throw InputError for an unknown macro, and for words and fields that the macro does not accept; the message says
///        what would be right.
[[nodiscard]] RunRequest make_request(const RunOrder &order, const Catalogue &catalogue);

/// The same of a macro that is known already; that of `order` is not looked at.
/// @param entry  null where the catalogue has none.
[[nodiscard]] RunRequest make_request(const RunOrder &order, const scdb::Macro &macro,
                                      std::shared_ptr<const MacroEntry> entry, const Catalogue &catalogue);

}  // namespace engine
