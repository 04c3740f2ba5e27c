#pragma once

#include <memory>
#include <span>
#include <string>

#include "engine/catalogue/catalogue.hpp"
#include "engine/text/error.hpp"

namespace engine {

/// The reference of a family as a Markdown page.  The macro libraries must have been loaded.
/// @param name  what the client calls direction and words.
/// @throw InputError when the family has a macro that they lack.
[[nodiscard]] std::string reference_of(const Family &family, SubjectName name);

/// A page that leads to those of all families, which lie beside it as FAMILY.md.
[[nodiscard]] std::string reference_index(std::span<const std::shared_ptr<const Family>> families);

}  // namespace engine
