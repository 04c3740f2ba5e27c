#include "engine/run/expectation.hpp"

#include <fmt/format.h>

#include <cctype>
#include <nlohmann/json.hpp>

#include "engine/text/error.hpp"
#include "engine/text/word_file.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

constexpr std::string_view EXPECT = "--expect";
constexpr std::string_view MASK = "--mask";

/// What begins as no number does is the name of a file.
bool names_file(const std::vector<std::string> &texts) {
  return texts.size() == 1 && !texts[0].empty() && texts[0][0] != '-'
         && std::isdigit(static_cast<unsigned char>(texts[0][0])) == 0;
}

}  // namespace

Expectation parse_expectation(const std::vector<std::string> &expected, const std::vector<std::string> &masks) {
  Expectation result{names_file(expected) ? read_words(expected[0], EXPECT) : parse_words(expected, EXPECT),
                     parse_words(masks, MASK)};
  if (result.words.empty() && !expected.empty())
    throw InputError(fmt::format("{}: '{}' keeps no words", EXPECT, expected[0]));
  if (result.words.empty() && !masks.empty())
    throw InputError(fmt::format("{}: there is nothing to compare; give {} too", MASK, EXPECT));
  if (result.masks.size() > 1 && result.masks.size() != result.words.size())
    throw InputError(fmt::format("{}: {} masks are given for {} words; give one for all, or one for each", MASK,
                                 result.masks.size(), result.words.size()));
  result.masks.resize(result.words.size(), result.masks.empty() ? MACRO_ALL : result.masks[0]);
  return result;
}

std::optional<macro_word> data_word(const RunRequest &request, const RunResult &run, std::size_t index) {
  if (index < run.data.size() && run.data[index])
    return run.data[index];
  if (index < request.data.size())
    return request.data[index];
  // The words that a macro may have left alone hold 0 when it writes to hardware: a 0 of its own looks the same.
  if (request.rw == RW_WRITE && index < request.data_words)
    return 0;
  return std::nullopt;
}

std::vector<macro_word> data_words(const RunRequest &request, const RunResult &run) {
  std::vector<macro_word> words(run.data.size());
  for (std::size_t i = 0; i < words.size(); ++i)
    words[i] = data_word(request, run, i).value_or(0);
  return words;
}

Comparison compare(const Expectation &expectation, const RunRequest &request, const RunResult &run) {
  Comparison result{.words = expectation.words.size(), .differing = 0, .first = {}};
  for (std::size_t i = 0; i < expectation.words.size(); ++i) {
    const std::optional<macro_word> is = data_word(request, run, i);
    const macro_word mask = expectation.masks[i];
    if (mask == 0 || (is && ((*is ^ expectation.words[i]) & mask) == 0))
      continue;
    ++result.differing;
    if (!result.first)
      result.first = Comparison::Difference{i, is, expectation.words[i], mask};
  }
  return result;
}

std::string describe(const Comparison &comparison) {
  if (!comparison.first)
    return {};
  const Comparison::Difference &first = *comparison.first;
  return fmt::format("{} of {} {}, first _DATA[{}]: {} instead of {}{}", comparison.differing, comparison.words,
                     comparison.words == 1 ? "word differs" : "words differ", first.index,
                     first.is ? hex(*first.is) : "not written", hex(first.expected),
                     first.mask == MACRO_ALL ? "" : fmt::format(" (mask {})", hex(first.mask)));
}

std::string text_of(const Comparison &comparison) {
  if (comparison.first)
    return fmt::format("unexpected: {}\n", describe(comparison));
  return fmt::format("expected: {} as expected\n",
                     comparison.words == 1 ? "1 word is" : fmt::format("{} words are", comparison.words));
}

nlohmann::ordered_json json_of(const Comparison &comparison) {
  nlohmann::ordered_json json{{"words", comparison.words}, {"differing", comparison.differing}, {"first", nullptr}};
  if (const auto &first = comparison.first)
    json["first"] = {{"index", first->index},
                     {"is", first->is ? nlohmann::ordered_json(hex(*first->is)) : nullptr},
                     {"expected", hex(first->expected)},
                     {"mask", hex(first->mask)}};
  return json;
}

}  // namespace engine
