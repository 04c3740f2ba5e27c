#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

/// What is wrong with an expression, in a line for people.
class [[nodiscard]] ExpressionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A whole number that is computed from named ones, such as "(length + 3) / 4": + - * / and parentheses, with / rounded
/// down.
class Expression {
 public:
  /// The value of a name.
  using Lookup = std::function<std::int64_t(std::string_view)>;

  // NOLINTNEXTLINE(google-explicit-constructor): a number is the simplest expression.
  Expression(std::int64_t number = 0) : text_{std::to_string(number)}, steps_{{Step::Kind::number, number, {}}} {}
  /// @throw ExpressionError
  [[nodiscard]] static Expression parse(std::string_view text);

  /// What exceeds 48 bits and a sign ends there: words that a macro refuses may make sizes of any size.
  /// @throw ExpressionError for a division by 0.
  [[nodiscard]] std::int64_t value(const Lookup &lookup) const;
  [[nodiscard]] std::vector<std::string_view> names() const;
  [[nodiscard]] bool is_constant() const { return names().empty(); }
  [[nodiscard]] const std::string &text() const { return text_; }

 private:
  /// In the order of a machine with a stack: operands before what joins them.
  struct Step {
    enum class Kind : std::uint8_t { number, name, operation } kind;
    std::int64_t number;
    std::string text;
  };
  class Parser;

  std::string text_;
  std::vector<Step> steps_;
};

}  // namespace engine
