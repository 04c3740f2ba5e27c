#include "engine/catalogue/named_values.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "engine/text/error.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

/// Fields of up to so many bits are tried with every value when it is to be known what they can show.
constexpr unsigned FEW_BITS = 12;
/// Names offered for one that is not known.
constexpr std::size_t NAMES_OFFERED = 8;

unsigned width_of(const ShownValue &value) {
  return value.field != nullptr ? value.field->width() : 32;
}

/// The number that a text shows in hexadecimal, if it does: "0x9FBDF89389EB87FB".
std::optional<std::uint64_t> number_shown(std::string_view text) {
  std::uint64_t number = 0;
  if (!text.starts_with("0x"))
    return std::nullopt;
  const char *const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data() + 2, end, number, 16);
  return error == std::errc{} && last == end ? std::optional{number} : std::nullopt;
}

/// The number that a text shows in decimal, if it does.
std::optional<std::int64_t> decimal(std::string_view text) {
  std::int64_t number = 0;
  const char *const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && last == end ? std::optional{number} : std::nullopt;
}

/// Whether a result can show this text, as far as can be told.
bool can_show(const ShownValue &value, const std::string &text) {
  if (value.field == nullptr)
    return false;
  ShownValue tried = value;
  const auto shows = [&](std::uint64_t number) {
    tried.value = number;
    return shown_text(tried) == text;
  };
  if (width_of(value) > FEW_BITS) {
    std::uint64_t flags = 0;
    const std::vector<std::string_view> names = split(text, '+');
    for (const Flag &flag : value.field->flags)
      if (std::ranges::find(names, flag.name) != names.end())
        flags |= std::uint64_t{1} << flag.bit;
    const std::optional<std::int64_t> number = decimal(text);
    const std::uint64_t all = ~std::uint64_t{0} >> (64 - width_of(value));
    return std::ranges::any_of(value.field->values, [&](const NamedValue &row) { return shows(row.value); })
           || shows(flags) || (number && shows(static_cast<std::uint64_t>(*number) & all));
  }
  for (std::uint64_t number = 0; number < std::uint64_t{1} << width_of(value); ++number)
    if (shows(number))
      return true;
  return false;
}

}  // namespace

std::vector<ShownValue> shown_values(std::span<const DecodedBlock> blocks) {
  std::vector<ShownValue> values;
  for (const DecodedBlock &block : blocks) {
    const std::vector<DataField> &fields = block.layout().fields;
    for (std::size_t i = 0; i < block.size(); ++i) {
      const DecodedRecord record = block[i];
      const std::string name = record.name();
      for (const DataField &field : fields)
        values.push_back(
            {block.is_single() ? field.name : fmt::format("{}.{}", name, field.name), &field, record.value(field)});
      for (std::size_t word = 0; fields.empty() && word < record.size(); ++word)
        values.push_back({record.size() == 1 ? name : fmt::format("{}[{}]", name, word), nullptr, record.word(word)});
    }
  }
  return values;
}

std::string shown_text(const ShownValue &value) {
  if (!value.value)
    return "not written";
  return value.field != nullptr ? field_text(*value.field, *value.value) : hex(static_cast<macro_word>(*value.value));
}

void check(NamedExpectation &expectation, const Arguments &arguments) {
  const DataWords written(arguments.data_words(false), macro_word{0});
  const std::vector<DecodedBlock> blocks = decode(arguments, written);
  const std::vector<ShownValue> values = shown_values(blocks);
  const auto found = std::ranges::find(values, expectation.name, &ShownValue::name);
  if (found == values.end()) {
    std::string names;
    for (std::size_t i = 0; i < std::min(values.size(), NAMES_OFFERED); ++i)
      names += fmt::format("{}{}", i == 0 ? "" : ", ", values[i].name);
    throw InputError(fmt::format("{} has no result '{}'; it has {}{}", arguments.entry().name, expectation.name,
                                 names.empty() ? "none" : names, values.size() > NAMES_OFFERED ? " ..." : ""));
  }
  if (!expectation.number)
    expectation.number = number_shown(expectation.text);
  else if (expectation.text.empty())
    expectation.text = fmt::format("0x{:X}", *expectation.number);
  const unsigned width = width_of(*found);
  if (expectation.number ? width < 64 && *expectation.number >> width != 0 : !can_show(*found, expectation.text))
    throw InputError(fmt::format("'{}' is never {}; it has {} {}", expectation.name, expectation.text, width,
                                 width == 1 ? "bit" : "bits"));
  if (expectation.number)
    expectation.text = shown_text(ShownValue{found->name, found->field, expectation.number});
}

bool holds(const NamedExpectation &expectation, const ShownValue &value) {
  if (expectation.number || !value.value)
    return value.value && value.value == expectation.number;
  return shown_text(value) == expectation.text;
}

}  // namespace engine
