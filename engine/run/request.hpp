#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/run/runner.hpp"

namespace engine {

/// The largest _DATA that can be asked for, in words.
inline constexpr macro_word DATA_WORDS_LIMIT = macro_word{1} << 24;
/// The most runs in a row that can be asked for.
inline constexpr macro_word REPEAT_LIMIT = 1'000'000;

/// A run as people ask for it, in the words of the command line; all but the macro may be empty.
struct RunText {
  std::string macro;                ///< name or test number
  std::vector<std::string> fields;  ///< NAME=VALUE
  std::string rw;                   ///< --rw
  std::vector<std::string> para;    ///< --para
  std::vector<std::string> data;    ///< --data
  std::string data_in;              ///< --data-in, a file
  std::string data_words;           ///< --data-words
};

/// What is to be run, but for the unit.  The macro libraries must have been loaded.
/// @throw InputError for an unknown macro, and for words and fields that the macro does not accept; the message says
///        what would be right.
[[nodiscard]] RunRequest make_request(const RunText &text, const Catalogue &catalogue);

/// The same of a macro that is known already; that of the text is not looked at.
/// @param entry  null where the catalogue has none.
[[nodiscard]] RunRequest make_request(const RunText &text, const scdb::Macro &macro,
                                      std::shared_ptr<const MacroEntry> entry, const Catalogue &catalogue);

/// What the catalogue says of a macro; null where it says nothing.
[[nodiscard]] std::shared_ptr<const MacroEntry> entry_of(const scdb::Macro &macro, const Catalogue &catalogue);

}  // namespace engine
