#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "engine/catalogue/catalogue.hpp"
#include "scdb/macros.hpp"

namespace engine {

/// A catalogue entry as a page for people.
[[nodiscard]] std::string page_of(const MacroEntry &entry, const scdb::Macro &macro);

/// The same for programs; expressions are texts.
[[nodiscard]] nlohmann::ordered_json json_of(const MacroEntry &entry, const scdb::Macro &macro);

}  // namespace engine
