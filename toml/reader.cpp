#include "toml/reader.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace toml_file {

toml::table Reader::parse(std::string_view source) const {
  try {
    return toml::parse(source, std::string_view{origin_});
  } catch (const toml::parse_error &error) {
    fail_at(error.source().begin, error.description());
  }
}

std::string Reader::where(const toml::source_position &at) const {
  return fmt::format("{}:{}:{}", origin_, at.line, at.column);
}

void Reader::fail_at(const toml::source_position &at, std::string_view message) const {
  std::rethrow_exception(error(fmt::format("{}: {}", where(at), message)));
}

void Reader::check_keys(const toml::table &table, std::span<const std::string_view> accepted) const {
  for (const auto &[key, node] : table)
    if (std::ranges::find(accepted, key.str()) == accepted.end())
      fail_at(key.source().begin,
              fmt::format("unknown key '{}'; accepted here: {}", key.str(), fmt::join(accepted, ", ")));
}

std::int64_t Reader::integer(const toml::node &node, std::string_view what, std::int64_t least,
                             std::int64_t most) const {
  const toml::value<std::int64_t> *const value = node.as_integer();
  if (value == nullptr || value->get() < least || value->get() > most)
    fail(node, fmt::format("{} must be a whole number from {} to {}", what, least, most));
  return value->get();
}

bool Reader::boolean(const toml::node &node, std::string_view what) const {
  if (!node.is_boolean())
    fail(node, fmt::format("{} must be true or false", what));
  return node.as_boolean()->get();
}

const std::string &Reader::text(const toml::node &node, std::string_view what) const {
  const toml::value<std::string> *const value = node.as_string();
  if (value == nullptr || value->get().empty())
    fail(node, fmt::format("{} must be a text in quotation marks", what));
  return value->get();
}

}  // namespace toml_file
