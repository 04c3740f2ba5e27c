#include "engine/text/toml_reader.hpp"

#include "engine/text/error.hpp"

namespace engine {

std::string TomlReader::where(const toml::source_position &at) const {
  return fmt::format("{}:{}:{}", origin_, at.line, at.column);
}

toml::table TomlReader::parse(std::string_view source) const {
  try {
    return toml::parse(source, std::string_view{origin_});
  } catch (const toml::parse_error &error) {
    throw InputError(fmt::format("{}: {}", where(error.source().begin), error.description()));
  }
}

void TomlReader::fail(const toml::node &node, std::string_view message) const {
  throw InputError(fmt::format("{}: {}", where(node.source().begin), message));
}

void TomlReader::check_keys(const toml::table &table, std::initializer_list<std::string_view> accepted) const {
  for (const auto &[key, node] : table)
    if (std::ranges::find(accepted, key.str()) == accepted.end())
      throw InputError(fmt::format("{}: unknown key '{}'; accepted here: {}", where(key.source().begin), key.str(),
                                   fmt::join(accepted, ", ")));
}

const toml::node &TomlReader::needed(const toml::table &table, std::string_view key) const {
  const toml::node *const node = table.get(key);
  if (node == nullptr)
    fail(table, fmt::format("'{}' is missing", key));
  return *node;
}

std::int64_t TomlReader::integer(const toml::node &node, std::string_view what, std::int64_t least,
                                 std::int64_t most) const {
  const toml::value<std::int64_t> *const value = node.as_integer();
  if (value == nullptr || value->get() < least || value->get() > most)
    fail(node, fmt::format("'{}' must be a whole number from {} to {}", what, least, most));
  return value->get();
}

std::int64_t TomlReader::integer(const toml::table &table, std::string_view key, std::int64_t if_missing,
                                 std::int64_t least, std::int64_t most) const {
  const toml::node *const node = table.get(key);
  return node == nullptr ? if_missing : integer(*node, key, least, most);
}

bool TomlReader::boolean(const toml::table &table, std::string_view key, bool if_missing) const {
  const toml::node *const node = table.get(key);
  if (node == nullptr)
    return if_missing;
  if (!node->is_boolean())
    fail(*node, fmt::format("'{}' must be true or false", key));
  return node->as_boolean()->get();
}

std::string TomlReader::text(const toml::node &node, std::string_view what) const {
  const toml::value<std::string> *const value = node.as_string();
  if (value == nullptr || value->get().empty())
    fail(node, fmt::format("'{}' must be a text in quotation marks", what));
  return filled(value->get());
}

std::string TomlReader::text(const toml::table &table, std::string_view key) const {
  const toml::node *const node = table.get(key);
  return node == nullptr ? std::string{} : text(*node, key);
}

std::string TomlReader::needed_text(const toml::table &table, std::string_view key) const {
  return text(needed(table, key), key);
}

const toml::array &TomlReader::list(const toml::node &node, std::string_view what) const {
  if (!node.is_array() || node.as_array()->empty())
    fail(node, fmt::format("'{}' must be a list{}", what, node.is_array() ? " with one element at the least" : ""));
  return *node.as_array();
}

std::vector<std::string> TomlReader::texts(const toml::table &table, std::string_view key) const {
  std::vector<std::string> all;
  each(table, key, [&](const toml::node &element) { all.push_back(text(element, key)); });
  return all;
}

}  // namespace engine
