#include "engine/catalogue/arguments.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/text/error.hpp"

namespace engine {
namespace {

/// The largest _DATA that an entry can describe, in words.
constexpr std::int64_t MOST_WORDS = std::int64_t{1} << 24;

}  // namespace

const Parameter *Arguments::row(std::string_view parameter) const {
  for (const Parameter &row : entry_.parameters)
    if (row.name == parameter && met(row.when))
      return &row;
  return nullptr;
}

macro_word Arguments::value(std::string_view parameter) const {
  const Parameter *found = row(parameter);
  if (found == nullptr)
    found = &*std::ranges::find(entry_.parameters, parameter, &Parameter::name);
  return found->word < para_.size() ? found->bits.get(para_[found->word]) : 0;
}

std::int64_t Arguments::value(const Expression &expression) const {
  try {
    return expression.value([this](std::string_view name) { return std::int64_t{value(name)}; });
  } catch (const ExpressionError &error) {
    throw InputError(fmt::format("the catalogue's entry for {}: {}", entry_.name, error.what()));
  }
}

std::size_t Arguments::size(const Expression &expression) const {
  return static_cast<std::size_t>(std::clamp<std::int64_t>(value(expression), 0, MOST_WORDS));
}

bool Arguments::met(const std::vector<Condition> &conditions) const {
  return std::ranges::all_of(conditions, [this](const Condition &condition) {
    const macro_word now = value(condition.parameter);
    return (now & condition.flags) != 0 || std::ranges::find(condition.values, now) != condition.values.end();
  });
}

bool Arguments::applies(const Scope &scope) const {
  if (!entry_.directions.empty()) {
    const MacroDirection *const now = direction();
    if (now == nullptr)
      return false;
    if (!scope.directions.empty() && std::ranges::find(scope.directions, now->name) == scope.directions.end())
      return false;
  }
  return met(scope.when);
}

bool Arguments::uses(const Parameter &parameter) const {
  return (parameter.directions.empty() && met(parameter.when)) || applies(parameter);
}

std::size_t Arguments::data_words(bool input) const {
  std::size_t words = 0;
  for (const DataBlock &block : entry_.data)
    if (block.input == input && applies(block))
      if (const std::uint64_t here = std::uint64_t{size(block.size)} * size(block.count); here != 0)
        words =
            std::max(words, static_cast<std::size_t>(std::min<std::uint64_t>(size(block.start) + here, MOST_WORDS)));
  return words;
}

std::optional<std::size_t> Arguments::area_words() const {
  const bool other_direction = !entry_.directions.empty() && direction() == nullptr && !entry_.otherwise.empty();
  if (other_direction || entry_.data.empty())
    return std::nullopt;
  return std::max({data_words(true), data_words(false), std::size_t{1}});
}

std::optional<std::int64_t> Arguments::accesses() const {
  for (const AccessCount &row : entry_.accesses)
    if (applies(row))
      return value(row.count);
  return std::nullopt;
}

}  // namespace engine
