#include "engine/run/request.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/text/error.hpp"
#include "engine/catalogue/fields.hpp"
#include "engine/run/library.hpp"
#include "engine/text/word_file.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

std::size_t data_size(const RunText &text, std::size_t given) {
  if (text.data_words.empty())
    return std::max(given, DEFAULT_DATA_WORDS);
  const macro_word words = parse_word(text.data_words, "--data-words");
  if (words == 0 || words > DATA_WORDS_LIMIT)
    throw InputError(fmt::format("--data-words: {} is out of range; give 1 to {}", text.data_words, DATA_WORDS_LIMIT));
  if (words < given)
    throw InputError(fmt::format("--data-words: _DATA of {} words does not hold the {} words of --data", words, given));
  return words;
}

/// The words that _DATA begins with.
std::vector<macro_word> given_data(const RunText &text) {
  if (text.data_in.empty())
    return parse_words(text.data, "--data");
  if (!text.data.empty())
    throw InputError("the words of _DATA are given twice: by --data and by --data-in; give one of them");
  std::vector<macro_word> words = read_words(text.data_in, "--data-in");
  if (words.size() > DATA_WORDS_LIMIT)
    throw InputError(fmt::format("--data-in: '{}' keeps {} words; _DATA takes up to {}", text.data_in, words.size(),
                                 DATA_WORDS_LIMIT));
  return words;
}

/// Refuses to let the macro call one that would write past the words of _DATA that there are for it.
void check_called_macros(const RunRequest &request, const Catalogue &catalogue) {
  const Arguments arguments{*request.entry, request.rw, request.para};
  for (const Parameter &parameter : request.entry->parameters) {
    if (!parameter.calls || !arguments.uses(parameter) || arguments.row(parameter.name) != &parameter)
      continue;
    const scdb::Macro *const called = scdb::find_macro(arguments.value(parameter.name));
    const std::optional<MacroEntry> entry = called != nullptr ? catalogue.find(called->name) : std::nullopt;
    if (!entry)
      continue;
    const Arguments its{*entry, parameter.calls->rw, request.para};
    const std::size_t words = std::max(its.data_words(true), its.data_words(false));
    if (words > parameter.calls->data_words)
      throw InputError(fmt::format("{}=0x{:04X}: {} uses {} words of _DATA, and {} has room for {}", parameter.name,
                                   called->number, called->name, words, request.macro->name,
                                   parameter.calls->data_words));
  }
}

}  // namespace

std::shared_ptr<const MacroEntry> entry_of(const scdb::Macro &macro, const Catalogue &catalogue) {
  std::optional<MacroEntry> entry = catalogue.find(macro.name);
  return entry ? std::make_shared<const MacroEntry>(std::move(*entry)) : nullptr;
}

RunRequest make_request(const RunText &text, const Catalogue &catalogue) {
  const scdb::Macro &macro = macro_named(text.macro);
  return make_request(text, macro, entry_of(macro, catalogue), catalogue);
}

RunRequest make_request(const RunText &text, const scdb::Macro &macro, std::shared_ptr<const MacroEntry> entry,
                        const Catalogue &catalogue) {
  RunRequest request;
  request.macro = &macro;
  request.entry = std::move(entry);
  request.rw = direction_of(text.rw, request.entry.get());
  RunWords words{parse_words(text.para, "--para"), given_data(text)};
  if (request.entry)
    words = with_fields(*request.entry, request.rw, std::move(words), text.fields);
  else if (!text.fields.empty())
    throw InputError(fmt::format("'{}': the catalogue does not know {}; give its words with --para",
                                 text.fields.front(), request.macro->name));
  request.para = std::move(words.para);
  request.data = std::move(words.data);
  request.data_words = data_size(text, request.data.size());
  if (request.entry)
    check_called_macros(request, catalogue);
  return request;
}

}  // namespace engine
