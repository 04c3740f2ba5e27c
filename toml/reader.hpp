#pragma once

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "toml/toml.hpp"

namespace toml_file {

/// What readers of TOML files have in common.  Every complaint names file, line and column, what is wrong there and
/// what would be right.
class Reader {
 public:
  Reader(const Reader &) = delete;
  Reader &operator=(const Reader &) = delete;

 protected:
  /// @param origin  the file's name for messages; must outlive the reader.
  explicit Reader(const std::string &origin) : origin_{origin} {}
  ~Reader() = default;

  /// A complaint as the exception that this reader's users expect.
  [[nodiscard]] virtual std::exception_ptr error(const std::string &message) const = 0;

  [[nodiscard]] toml::table parse(std::string_view source) const;
  [[nodiscard]] const std::string &origin() const { return origin_; }

  // Complaints.

  /// "file:line:column"
  [[nodiscard]] std::string where(const toml::source_position &at) const;
  [[nodiscard]] std::string where(const toml::node &node) const { return where(node.source().begin); }
  [[noreturn]] void fail_at(const toml::source_position &at, std::string_view message) const;
  [[noreturn]] void fail(const toml::node &node, std::string_view message) const {
    fail_at(node.source().begin, message);
  }
  /// Refuses keys that are not in the list.
  void check_keys(const toml::table &table, std::span<const std::string_view> accepted) const;
  void check_keys(const toml::table &table, std::initializer_list<std::string_view> accepted) const {
    check_keys(table, std::span{accepted.begin(), accepted.size()});
  }

  // Values.  @param what  what complaints call it.

  [[nodiscard]] std::int64_t integer(const toml::node &node, std::string_view what, std::int64_t least,
                                     std::int64_t most) const;
  [[nodiscard]] bool boolean(const toml::node &node, std::string_view what) const;
  /// A text that is not empty.
  [[nodiscard]] const std::string &text(const toml::node &node, std::string_view what) const;

 private:
  const std::string &origin_;
};

}  // namespace toml_file
