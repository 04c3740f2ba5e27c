#include "engine/text/words.hpp"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

#include "engine/text/error.hpp"

namespace engine {
namespace {

constexpr std::uint64_t LARGEST_WORD = 0xFFFFFFFF;
constexpr std::uint64_t LARGEST_NEGATED = 0x80000000;

std::optional<std::uint64_t> parse_magnitude(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal)
    text.remove_prefix(2);
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, hexadecimal ? 16 : 10);
  if (text.empty() || error != std::errc{} || end != text.data() + text.size())
    return std::nullopt;
  return value;
}

}  // namespace

macro_word parse_word(std::string_view text, std::string_view what) {
  const bool negative = text.starts_with('-');
  const std::optional<std::uint64_t> magnitude = parse_magnitude(text.substr(negative ? 1 : 0));
  if (!magnitude || *magnitude > (negative ? LARGEST_NEGATED : LARGEST_WORD))
    throw InputError(fmt::format(
        "{}: '{}' is not a 32-bit word; give a decimal or 0x number from -2147483648 to 0xFFFFFFFF", what, text));
  const auto word = static_cast<macro_word>(*magnitude);
  return negative ? 0 - word : word;
}

std::vector<macro_word> parse_words(const std::vector<std::string> &texts, std::string_view what) {
  std::vector<macro_word> words;
  words.reserve(texts.size());
  for (const std::string &text : texts)
    words.push_back(parse_word(text, what));
  return words;
}

std::string hex(macro_word word) {
  std::string text;
  append_hex(text, word);
  return text;
}

void append_hex(std::string &text, macro_word word) {
  std::array<char, 10> digits{'0', 'x'};
  for (std::size_t i = digits.size(); i != 2; word >>= 4)
    digits[--i] = "0123456789ABCDEF"[word & 0xF];
  text.append(digits.data(), digits.size());
}

std::string list_of_bits(macro_word mask) {
  std::string list;
  for (unsigned first = 0; first < 32; ++first) {
    if ((mask >> first & 1) == 0)
      continue;
    unsigned last = first;
    while (last < 31 && (mask >> (last + 1) & 1) != 0)
      ++last;
    list += fmt::format("{}{}", list.empty() ? "" : ",", first);
    if (last > first)
      list += fmt::format("-{}", last);
    first = last;
  }
  return list;
}

std::string joined(const std::vector<std::string> &texts, std::string_view separator) {
  return fmt::format("{}", fmt::join(texts, separator));
}

std::string count_of(std::size_t count, std::string_view one, std::string_view many) {
  if (count == 1 || !many.empty())
    return fmt::format("{} {}", count, count == 1 ? one : many);
  return fmt::format("{} {}s", count, one);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (std::size_t at = 0; at != std::string_view::npos;) {
    at = text.find(separator);
    pieces.push_back(text.substr(0, at));
    if (at != std::string_view::npos)
      text.remove_prefix(at + 1);
  }
  return pieces;
}

}  // namespace engine
