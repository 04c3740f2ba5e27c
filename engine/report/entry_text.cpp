#include "engine/report/entry_text.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/catalogue/fields.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

/// The names of a condition's values: "class=4".
std::string condition_text(const Condition &condition, const MacroEntry &entry) {
  std::vector<std::string> texts;
  const auto text_of_value = [&](macro_word value) {
    for (const Parameter &row : entry.parameters)
      if (row.name == condition.parameter)
        for (const NamedValue &named : row.values)
          if (named.value == value && !named.name.empty())
            return named.name;
    return std::to_string(value);
  };
  for (const macro_word value : condition.values)
    texts.push_back(text_of_value(value));
  for (const Parameter &row : entry.parameters)
    if (row.name == condition.parameter)
      for (const Flag &flag : row.flags)
        if ((condition.flags >> flag.bit & 1) != 0)
          texts.push_back(flag.name);
  return fmt::format("{}={}", condition.parameter, joined(texts, "|"));
}

/// "with write, class=4"; empty where nothing is asked for.
std::string scope_text(const Scope &scope, const MacroEntry &entry) {
  std::vector<std::string> texts;
  if (!scope.directions.empty())
    texts.push_back(joined(scope.directions, " or "));
  for (const Condition &condition : scope.when)
    texts.push_back(condition_text(condition, entry));
  return texts.empty() ? std::string{} : "with " + joined(texts, ", ");
}

std::string when_text(const When &when) {
  if (when.never())
    return "no";
  return when.always ? "yes" : "with " + joined(when.directions, ", ");
}

std::string calls_of(const MacroEntry &entry) {
  std::vector<std::string> calls;
  for (const unsigned number : entry.calls) {
    const scdb::Macro *const macro = scdb::find_macro(number);
    calls.push_back(macro != nullptr ? fmt::format("0x{:04X} ({})", number, macro->name)
                                     : fmt::format("0x{:04X}", number));
  }
  return joined(calls, ", ");
}

std::string accesses_of(const MacroEntry &entry) {
  std::vector<std::string> counts;
  for (const AccessCount &row : entry.accesses)
    counts.push_back(with_scope(row.count.text(), row, entry));
  return counts.empty() ? "depends on what is found" : joined(counts, ", ");
}

std::string sum_of(const Expression &start, const Expression &size, const Expression &count) {
  if (start.is_constant() && size.is_constant() && count.is_constant()) {
    const auto number = [](const Expression &expression) {
      return expression.value([](std::string_view) { return 0; });
    };
    const std::int64_t first = number(start);
    const std::int64_t last = first + number(size) * number(count) - 1;
    return first >= last ? fmt::format("_DATA[{}]", first) : fmt::format("_DATA[{}] to [{}]", first, last);
  }
  std::string text = fmt::format("_DATA[{}] on, {} times", start.text(), count.text());
  return text + (size.text() == "1" ? " a word" : fmt::format(" {} words", size.text()));
}

/// More words than these an example only hints at.
constexpr std::size_t INPUTS_SHOWN = 4;

/// The usual value of a parameter, or the least one that is accepted, with the text that gives it.
NamedValue least_of(const Parameter &parameter, const Arguments &arguments) {
  NamedValue least{parameter.value_if_missing.value_or(0), {}, {}};
  if (!parameter.value_if_missing && parameter.range)
    least.value = static_cast<macro_word>(arguments.size(parameter.range->first));
  else if (!parameter.value_if_missing && !parameter.values.empty())
    least = parameter.values.front();
  else if (!parameter.value_if_missing && !parameter.flags.empty())
    least = {macro_word{1} << parameter.flags.front().bit, parameter.flags.front().name, {}};
  if (least.name.empty())
    least.name = value_text(parameter, least.value);
  return least;
}

}  // namespace

std::string with_scope(std::string text, const Scope &scope, const MacroEntry &entry) {
  const std::string when = scope_text(scope, entry);
  return when.empty() ? text : fmt::format("{} ({})", text, when);
}

std::vector<std::pair<std::string, std::string>> facts_of(const MacroEntry &entry, const scdb::Macro &macro) {
  std::vector<std::pair<std::string, std::string>> facts;
  facts.emplace_back("unit", fmt::format("{}, {}", scdb::info(entry.unit).name, scdb::info(entry.unit).title));
  const scdb::Identification identification =
      scdb::parse_identification(macro.identification).value_or(scdb::Identification{});
  facts.emplace_back(
      "number", fmt::format("0x{:04X}, revision {} of {}", macro.number, identification.revision, identification.date));
  facts.emplace_back("family", fmt::format("{} ({})", entry.family_title, entry.family));
  facts.emplace_back("changes hardware", when_text(entry.changes));
  if (!entry.together.never())
    facts.emplace_back("chips in one run",
                       entry.together.always ? "all of the unit" : "all of the unit, " + when_text(entry.together));
  if (!entry.calls.empty())
    facts.emplace_back("calls", calls_of(entry));
  facts.emplace_back("primitive calls", accesses_of(entry));
  return facts;
}

std::string rw_text(macro_word rw) {
  return std::to_string(static_cast<std::int32_t>(rw));
}

std::string otherwise_of(const MacroEntry &entry) {
  return entry.otherwise.empty() ? "does nothing" : entry.otherwise;
}

std::string name_of(const NamedValue &value) {
  return value.name.empty() ? std::to_string(value.value) : fmt::format("{} ({})", value.name, value.value);
}

std::string title_of(const Parameter &parameter, const MacroEntry &entry) {
  const std::string title = with_scope(parameter.title, parameter, entry);
  return parameter.value_if_missing
             ? fmt::format("{}, usually {}", title, value_text(parameter, *parameter.value_if_missing))
             : title;
}

std::string title_of(const DataBlock &block, const MacroEntry &entry) {
  const std::string words = sum_of(block.start, block.size, block.count);
  return with_scope(block.title.empty() ? words : fmt::format("{}: {}", words, block.title), block, entry);
}

std::string place_of(const DataField &field, const DataBlock &block) {
  const bool one_word = block.size.text() == "1";
  std::vector<std::string> parts;
  for (const DataField::Piece &piece : field.pieces) {
    const std::string bits = describe(piece.bits);
    parts.push_back(one_word ? bits : fmt::format("word {}{}{}", piece.word, bits.empty() ? "" : " ", bits));
  }
  return joined(parts, ", ");
}

std::string example_of(const MacroEntry &entry, SubjectName name) {
  std::string example =
      fmt::format("{} {} {} {}:0.0", name(Subject::run), entry.name, name(Subject::unit), scdb::info(entry.unit).name);
  const macro_word rw = entry.directions.empty() ? 1 : entry.directions.front().rw;
  if (!entry.directions.empty())
    example += fmt::format(" {} {}", name(Subject::direction), entry.directions.front().name);
  std::vector<macro_word> words;
  for (const Parameter &parameter : entry.parameters) {
    const Arguments arguments{entry, rw, words};
    if (!arguments.uses(parameter) || arguments.row(parameter.name) != &parameter)
      continue;
    const NamedValue value = least_of(parameter, arguments);
    words.resize(std::max(words.size(), parameter.word + 1));
    words[parameter.word] = parameter.bits.put(words[parameter.word], value.value);
    if (!parameter.value_if_missing)
      example += fmt::format(" {}={}", parameter.name, value.name);
  }
  const std::size_t inputs = Arguments{entry, rw, words}.data_words(true);
  if (inputs > INPUTS_SHOWN)
    return fmt::format("{} {} FILE", example, name(Subject::data_file));
  for (std::size_t i = 0; i < inputs; ++i)
    example += i == 0 ? fmt::format(" {} 0", name(Subject::data)) : " 0";
  return example;
}

}  // namespace engine
