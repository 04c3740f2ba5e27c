#include "engine/catalogue/expression.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "engine/text/error.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

/// No size or count of any use comes near it, and a sum of two such numbers does not overflow.
constexpr std::int64_t LIMIT = std::int64_t{1} << 48;

std::int64_t quotient_rounded_down(std::int64_t left, std::int64_t right) {
  const std::int64_t quotient = left / right;
  return left % right != 0 && (left < 0) != (right < 0) ? quotient - 1 : quotient;
}

std::int64_t product_of(std::int64_t left, std::int64_t right) {
  if (left != 0 && std::abs(right) > LIMIT / std::abs(left))
    return (left < 0) == (right < 0) ? LIMIT : -LIMIT;
  return left * right;
}

bool is_name_character(char character) {
  return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_' || character == '-';
}

}  // namespace

/// Sums of products of factors.
class Expression::Parser {
 public:
  explicit Parser(std::string_view text) : text_{text} {}

  std::vector<Step> parse() {
    sum();
    if (skip_spaces(); at_ != text_.size())
      fail("an operation");
    return std::move(steps_);
  }

 private:
  [[noreturn]] void fail(std::string_view wanted) const {
    throw ExpressionError(fmt::format("'{}': {} is expected {}", text_, wanted,
                                      at_ == text_.size() ? "at the end" : fmt::format("at '{}'", text_.substr(at_))));
  }
  void skip_spaces() {
    while (at_ < text_.size() && text_[at_] == ' ')
      ++at_;
  }
  /// The operation that comes next, if it is one of those; 0 otherwise.
  char operation(std::string_view accepted) {
    skip_spaces();
    return at_ < text_.size() && accepted.find(text_[at_]) != std::string_view::npos ? text_[at_++] : '\0';
  }
  void sum() {
    product();
    while (const char sign = operation("+-")) {
      product();
      steps_.push_back({Step::Kind::operation, 0, std::string(1, sign)});
    }
  }
  void product() {
    factor();
    while (const char sign = operation("*/")) {
      factor();
      steps_.push_back({Step::Kind::operation, 0, std::string(1, sign)});
    }
  }
  void factor() {
    if (operation("(") != '\0') {
      if (++depth_ > DEEPEST)
        fail("less nesting");
      sum();
      --depth_;
      if (operation(")") == '\0')
        fail("')'");
      return;
    }
    const std::size_t first = at_;
    while (at_ < text_.size() && is_name_character(text_[at_]))
      ++at_;
    const std::string_view word = text_.substr(first, at_ - first);
    if (word.empty())
      fail("a number, a name or '('");
    if (std::isdigit(static_cast<unsigned char>(word.front())) == 0)
      steps_.push_back({Step::Kind::name, 0, std::string{word}});
    else
      steps_.push_back({Step::Kind::number, number(word), {}});
  }
  std::int64_t number(std::string_view word) const {
    try {
      return parse_word(word, fmt::format("'{}'", text_));
    } catch (const InputError &error) {
      throw ExpressionError(error.what());
    }
  }

  static constexpr unsigned DEEPEST = 32;
  std::string_view text_;
  std::size_t at_ = 0;
  unsigned depth_ = 0;
  std::vector<Step> steps_;
};

Expression Expression::parse(std::string_view text) {
  Expression expression;
  expression.text_ = text;
  expression.steps_ = Parser{text}.parse();
  return expression;
}

std::int64_t Expression::value(const Lookup &lookup) const {
  std::vector<std::int64_t> stack;
  const auto push = [&](std::int64_t value) { stack.push_back(std::clamp(value, -LIMIT, LIMIT)); };
  for (const Step &step : steps_) {
    if (step.kind != Step::Kind::operation) {
      push(step.kind == Step::Kind::number ? step.number : lookup(step.text));
      continue;
    }
    const std::int64_t right = stack.back();
    stack.pop_back();
    const std::int64_t left = stack.back();
    stack.pop_back();
    switch (step.text.front()) {
      case '+':
        push(left + right);
        break;
      case '-':
        push(left - right);
        break;
      case '*':
        push(product_of(left, right));
        break;
      default:
        if (right == 0)
          throw ExpressionError(fmt::format("'{}' divides by 0", text_));
        push(quotient_rounded_down(left, right));
    }
  }
  return stack.back();
}

std::vector<std::string_view> Expression::names() const {
  std::vector<std::string_view> names;
  for (const Step &step : steps_)
    if (step.kind == Step::Kind::name)
      names.push_back(step.text);
  return names;
}

}  // namespace engine
