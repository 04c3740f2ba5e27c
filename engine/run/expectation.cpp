#include "engine/run/expectation.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "engine/text/error.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

constexpr std::array<std::string_view, 5> VERDICTS{"pass", "finding", "failure", "error", "stopped"};

}  // namespace

std::string_view name_of(Verdict verdict) {
  return VERDICTS.at(static_cast<std::size_t>(verdict));
}

std::optional<Verdict> verdict_named(std::string_view name) {
  const auto *const found = std::ranges::find(VERDICTS, name);
  return found == VERDICTS.end() ? std::nullopt : std::optional{static_cast<Verdict>(found - VERDICTS.begin())};
}

std::vector<macro_word> masks_for(std::vector<macro_word> masks, std::size_t words) {
  if (masks.size() > 1 && masks.size() != words)
    throw InputError{Subject::mask, fmt::format("{} masks are given for {} words; give one for all, or one for each",
                                                masks.size(), words)};
  masks.resize(words, masks.empty() ? MACRO_ALL : masks[0]);
  return masks;
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

}  // namespace engine
