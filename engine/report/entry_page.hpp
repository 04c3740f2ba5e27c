#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "engine/catalogue/catalogue.hpp"
#include "engine/text/error.hpp"
#include "scdb/macros.hpp"

namespace engine {

/// A catalogue entry as a page for people.
/// @param name  what the client calls direction and words.
[[nodiscard]] std::string page_of(const MacroEntry &entry, const scdb::Macro &macro, SubjectName name);

/// The same for programs; expressions are texts.
[[nodiscard]] nlohmann::ordered_json json_of(const MacroEntry &entry, const scdb::Macro &macro, SubjectName name);

}  // namespace engine
