#include "engine/text/toml_reader.hpp"

#include "engine/text/error.hpp"

namespace engine {

namespace {

std::string quoted(std::string_view key) {
  return fmt::format("'{}'", key);
}

}  // namespace

std::exception_ptr TomlReader::error(const std::string &message) const {
  return std::make_exception_ptr(InputError(message));
}

const toml::node &TomlReader::needed(const toml::table &table, std::string_view key) const {
  const toml::node *const node = table.get(key);
  if (node == nullptr)
    fail(table, fmt::format("'{}' is missing", key));
  return *node;
}

std::int64_t TomlReader::integer(const toml::node &node, std::string_view what, std::int64_t least,
                                 std::int64_t most) const {
  return Reader::integer(node, quoted(what), least, most);
}

std::int64_t TomlReader::integer(const toml::table &table, std::string_view key, std::int64_t if_missing,
                                 std::int64_t least, std::int64_t most) const {
  const toml::node *const node = table.get(key);
  return node == nullptr ? if_missing : integer(*node, key, least, most);
}

bool TomlReader::boolean(const toml::table &table, std::string_view key, bool if_missing) const {
  const toml::node *const node = table.get(key);
  return node == nullptr ? if_missing : Reader::boolean(*node, quoted(key));
}

std::string TomlReader::text(const toml::node &node, std::string_view what) const {
  return filled(Reader::text(node, quoted(what)));
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
