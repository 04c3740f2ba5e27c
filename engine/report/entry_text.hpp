#pragma once

#include <string>
#include <utility>
#include <vector>

#include "engine/catalogue/catalogue.hpp"
#include "engine/text/error.hpp"
#include "scdb/macros.hpp"

/// The phrases of which pages on macros are made, whatever they are printed on.
namespace engine {

/// A text, with what it holds for behind it: "title (with write, class=4)".
[[nodiscard]] std::string with_scope(std::string text, const Scope &scope, const MacroEntry &entry);

/// What a macro is and does, in order: "unit" and "cpu, CPU chip", "changes hardware" and "with write".
[[nodiscard]] std::vector<std::pair<std::string, std::string>> facts_of(const MacroEntry &entry,
                                                                        const scdb::Macro &macro);

/// A value of _RW as people give it.
[[nodiscard]] std::string rw_text(macro_word rw);
/// What a direction does that the entry does not list.
[[nodiscard]] std::string otherwise_of(const MacroEntry &entry);

/// "bytes (0)", or the number alone.
[[nodiscard]] std::string name_of(const NamedValue &value);
/// What a parameter is, with its scope and its usual value.
[[nodiscard]] std::string title_of(const Parameter &parameter, const MacroEntry &entry);

/// The words of a block, with its title and scope: "_DATA[0] to [2]: its three words".
[[nodiscard]] std::string title_of(const DataBlock &block, const MacroEntry &entry);
/// Where a field lies in a record: "word 1 bits 3-4"; of a record of one word, "bits 3-4".
[[nodiscard]] std::string place_of(const DataField &field, const DataBlock &block);

/// A command line that runs the macro with the least values it accepts.
/// @param name  what the client calls direction and words.
[[nodiscard]] std::string example_of(const MacroEntry &entry, SubjectName name);

}  // namespace engine
