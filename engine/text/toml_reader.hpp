#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "toml/reader.hpp"

namespace engine {

/// A row of a table of names in a file.
template <class Value>
struct Name {
  std::string_view name;
  Value value;
};

/// What the readers of the catalogue and of plans have in common.  Every complaint is an InputError.
class TomlReader : protected toml_file::Reader {
 public:
  TomlReader(const TomlReader &) = delete;
  TomlReader &operator=(const TomlReader &) = delete;

 protected:
  using Reader::Reader;
  ~TomlReader() = default;

  /// A text of the file as it is meant; this one leaves it as it is.
  [[nodiscard]] virtual std::string filled(std::string text) const { return text; }

  // Values.  What stands under a key is called by the key, in quotation marks.

  [[nodiscard]] const toml::node &needed(const toml::table &table, std::string_view key) const;
  [[nodiscard]] std::int64_t integer(const toml::node &node, std::string_view what, std::int64_t least,
                                     std::int64_t most) const;
  [[nodiscard]] std::int64_t integer(const toml::table &table, std::string_view key, std::int64_t if_missing,
                                     std::int64_t least, std::int64_t most) const;
  [[nodiscard]] bool boolean(const toml::table &table, std::string_view key, bool if_missing) const;
  /// A text that is not empty.
  [[nodiscard]] std::string text(const toml::node &node, std::string_view what) const;
  /// The same; empty where there is none.
  [[nodiscard]] std::string text(const toml::table &table, std::string_view key) const;
  [[nodiscard]] std::string needed_text(const toml::table &table, std::string_view key) const;
  [[nodiscard]] std::vector<std::string> texts(const toml::table &table, std::string_view key) const;
  /// The elements of a list that is not empty.
  [[nodiscard]] const toml::array &list(const toml::node &node, std::string_view what) const;

  /// Calls `use` with each element of a list, if there is one.
  template <class Use>
  void each(const toml::table &table, std::string_view key, Use &&use) const {
    if (const toml::node *const node = table.get(key))
      for (const toml::node &element : list(*node, key))
        use(element);
  }
  template <class Use>
  void each_table(const toml::table &table, std::string_view key, Use &&use) const {
    each(table, key, [&](const toml::node &element) {
      if (!element.is_table())
        fail(element, fmt::format("'{}' must be a list of tables", key));
      use(*element.as_table());
    });
  }
  template <class Value, std::size_t N>
  [[nodiscard]] Value choice(const toml::table &table, std::string_view key, const std::array<Name<Value>, N> &names,
                             Value if_missing) const {
    const toml::node *const node = table.get(key);
    if (node == nullptr)
      return if_missing;
    const std::string name = text(*node, key);
    const auto found = std::ranges::find(names, name, &Name<Value>::name);
    if (found == names.end()) {
      std::string accepted;
      for (const Name<Value> &row : names)
        accepted += fmt::format("{}{}", accepted.empty() ? "" : ", ", row.name);
      fail(*node, fmt::format("'{}' must be one of {}", key, accepted));
    }
    return found->value;
  }

 private:
  [[nodiscard]] std::exception_ptr error(const std::string &message) const final;
};

}  // namespace engine
