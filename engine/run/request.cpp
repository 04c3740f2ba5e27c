#include "engine/run/request.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/run/library.hpp"
#include "engine/text/error.hpp"

namespace engine {
namespace {

/// The size of _DATA: what is asked for, else what the catalogue says that the macro uses.
std::size_t data_size(const RunOrder &order, const RunRequest &request) {
  const std::size_t given = request.data.size();
  if (!order.data_words) {
    const std::optional<std::size_t> used =
        request.entry ? Arguments{*request.entry, request.rw, request.para}.area_words() : std::nullopt;
    return std::max(given, used.value_or(DEFAULT_DATA_WORDS));
  }
  const macro_word words = *order.data_words;
  if (words == 0 || words > DATA_WORDS_LIMIT)
    throw InputError{Subject::data_words, fmt::format("{} is out of range; give 1 to {}", words, DATA_WORDS_LIMIT)};
  if (words < given)
    throw InputError({Subject::data_words,
                      fmt::format(": _DATA of {} words does not hold the {} words of ", words, given), Subject::data});
  return words;
}

/// Refuses to let the macro call one that would write past the words of _DATA that there are for it.
void check_called_macros(const RunRequest &request, const Catalogue &catalogue) {
  const Arguments arguments{*request.entry, request.rw, request.para};
  for (const Parameter &parameter : request.entry->parameters) {
    if (!parameter.calls || !arguments.uses(parameter) || arguments.row(parameter.name) != &parameter)
      continue;
    const scdb::Macro *const called = scdb::find_macro(arguments.value(parameter.name));
    const std::shared_ptr<const MacroEntry> entry = called != nullptr ? catalogue.find(called->name) : nullptr;
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

RunRequest make_request(const RunOrder &order, const Catalogue &catalogue) {
  const scdb::Macro &macro = macro_named(order.macro);
  return make_request(order, macro, catalogue.find(macro.name), catalogue);
}

RunRequest make_request(const RunOrder &order, const scdb::Macro &macro, std::shared_ptr<const MacroEntry> entry,
                        const Catalogue &catalogue) {
  RunRequest request;
  request.macro = &macro;
  request.entry = std::move(entry);
  request.rw = direction_of(order.direction, request.entry.get());
  request.rings = order.rings;
  RunWords words{order.para, order.data};
  if (request.entry)
    words = with_fields(*request.entry, request.rw, std::move(words), order.fields);
  else if (!order.fields.empty())
    throw InputError({fmt::format("'{}': the catalogue does not know {}; give its words with ",
                                  describe(order.fields.front()), request.macro->name),
                      Subject::para, ""});
  request.para = std::move(words.para);
  request.data = std::move(words.data);
  request.data_words = data_size(order, request);
  if (request.entry)
    check_called_macros(request, catalogue);
  return request;
}

}  // namespace engine
