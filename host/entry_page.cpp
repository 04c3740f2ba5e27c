#include "entry_page.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "explain.hpp"
#include "fields.hpp"
#include "library.hpp"
#include "words.hpp"

namespace host {
namespace {

constexpr std::size_t PAGE_WIDTH = 100;
constexpr std::size_t LEAST_NAME_WIDTH = 12;

/// Text broken at blanks; its own line ends are blanks too, except empty lines between paragraphs.
std::string filled(std::string_view text, std::size_t indent) {
  std::string page;
  std::string line;
  const auto end_line = [&] {
    if (!line.empty())
      page += fmt::format("{:{}}{}\n", "", indent, line);
    line.clear();
  };
  bool was_empty = true;
  for (const std::string_view source : split(text, '\n')) {
    if (source.find_first_not_of(' ') == std::string_view::npos) {
      end_line();
      if (!was_empty)
        page += "\n";
      was_empty = true;
      continue;
    }
    was_empty = false;
    for (const std::string_view word : split(source, ' ')) {
      if (word.empty())
        continue;
      if (!line.empty() && indent + line.size() + 1 + word.size() > PAGE_WIDTH)
        end_line();
      line += fmt::format("{}{}", line.empty() ? "" : " ", word);
    }
  }
  end_line();
  return page;
}

/// Rows of columns, each as wide as its widest cell; the last one is as it comes.
class Columns {
 public:
  explicit Columns(std::size_t indent) : indent_{indent} {}
  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

  [[nodiscard]] std::string text() const {
    std::vector<std::size_t> widths;
    for (const std::vector<std::string> &row : rows_)
      for (std::size_t i = 0; i + 1 < row.size(); ++i) {
        widths.resize(std::max(widths.size(), i + 1));
        widths[i] = std::max(widths[i], row[i].size());
      }
    std::string text;
    for (const std::vector<std::string> &row : rows_) {
      std::string line(indent_, ' ');
      for (std::size_t i = 0; i < row.size(); ++i)
        line += i + 1 < row.size() ? fmt::format("{:{}}  ", row[i], widths[i]) : row[i];
      line.erase(line.find_last_not_of(' ') + 1);
      text += line + "\n";
    }
    return text;
  }

 private:
  std::size_t indent_;
  std::vector<std::vector<std::string>> rows_;
};

std::string joined(const std::vector<std::string> &texts, std::string_view separator) {
  return fmt::format("{}", fmt::join(texts, separator));
}

std::string rw_text(macro_word rw) {
  return std::to_string(static_cast<std::int32_t>(rw));
}

/// The names of a condition's values: "class=4".
std::string describe(const Condition &condition, const MacroEntry &entry) {
  std::vector<std::string> texts;
  const auto name_of = [&](macro_word value) {
    for (const Parameter &row : entry.parameters)
      if (row.name == condition.parameter)
        for (const NamedValue &named : row.values)
          if (named.value == value && !named.name.empty())
            return named.name;
    return std::to_string(value);
  };
  for (const macro_word value : condition.values)
    texts.push_back(name_of(value));
  for (const Parameter &row : entry.parameters)
    if (row.name == condition.parameter)
      for (const Flag &flag : row.flags)
        if ((condition.flags >> flag.bit & 1) != 0)
          texts.push_back(flag.name);
  return fmt::format("{}={}", condition.parameter, joined(texts, "|"));
}

/// "with write, class=4"; empty where nothing is asked for.
std::string describe(const Scope &scope, const MacroEntry &entry) {
  std::vector<std::string> texts;
  if (!scope.directions.empty())
    texts.push_back(joined(scope.directions, " or "));
  for (const Condition &condition : scope.when)
    texts.push_back(describe(condition, entry));
  return texts.empty() ? std::string{} : "with " + joined(texts, ", ");
}

std::string with_scope(std::string text, const Scope &scope, const MacroEntry &entry) {
  const std::string when = describe(scope, entry);
  return when.empty() ? text : fmt::format("{} ({})", text, when);
}

std::string text_of(const When &when) {
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

std::string facts_of(const MacroEntry &entry, const scdb::Macro &macro) {
  Columns facts{2};
  facts.add({"unit", std::string{scdb::info(entry.unit).name} + ", " + std::string{scdb::info(entry.unit).title}});
  const scdb::Identification identification =
      scdb::parse_identification(macro.identification).value_or(scdb::Identification{});
  facts.add({"number",
             fmt::format("0x{:04X}, revision {} of {}", macro.number, identification.revision, identification.date)});
  facts.add({"family", fmt::format("{} ({})", entry.family_title, entry.family)});
  facts.add({"changes hardware", text_of(entry.changes)});
  if (!entry.together.never())
    facts.add({"chips in one run",
               entry.together.always ? "all of the unit" : "all of the unit, " + text_of(entry.together)});
  if (!entry.calls.empty())
    facts.add({"calls", calls_of(entry)});
  facts.add({"primitive calls", accesses_of(entry)});
  return facts.text();
}

std::string directions_of(const MacroEntry &entry) {
  if (entry.directions.empty())
    return "\nDirection (--rw): not looked at.\n";
  Columns rows{2};
  for (const Direction &direction : entry.directions)
    rows.add({direction.name, rw_text(direction.rw), direction.title});
  rows.add({"other", "", entry.otherwise.empty() ? "does nothing" : entry.otherwise});
  return "\nDirections (--rw):\n" + rows.text();
}

std::string refusal_of(const Parameter &parameter) {
  return parameter.refused ? fmt::format("; else refused with {}", *parameter.refused) : "";
}

std::string parameters_of(const MacroEntry &entry) {
  if (entry.parameters.empty())
    return "\nParameters: none.\n";
  std::string page = "\nParameters (NAME=VALUE), bits from the least significant:\n";
  std::size_t width = LEAST_NAME_WIDTH;
  for (const Parameter &parameter : entry.parameters)
    width = std::max(width, parameter.name.size());
  for (const Parameter &parameter : entry.parameters) {
    std::string title = with_scope(parameter.title, parameter, entry);
    if (parameter.value_if_missing)
      title += fmt::format(", usually {}", text_of(parameter, *parameter.value_if_missing));
    page += fmt::format("  {:{}}  {:18}  {}\n", parameter.name, width, place_of(parameter), title);
    Columns choices{16};
    for (const NamedValue &value : parameter.values)
      choices.add({value.name.empty() ? std::to_string(value.value) : fmt::format("{} ({})", value.name, value.value),
                   value.title});
    for (const Flag &flag : parameter.flags)
      choices.add({flag.name, fmt::format("bit {}", parameter.bits.least + flag.bit), flag.title});
    page += choices.text();
    if (parameter.values.empty() && parameter.flags.empty())
      page += fmt::format("{:16}{}{}\n", "", accepted_by(parameter, nullptr), refusal_of(parameter));
    else if (parameter.refused)
      page += fmt::format("{:16}others are refused with {}\n", "", *parameter.refused);
  }
  return page;
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

std::string place_of(const DataField &field, bool one_word) {
  std::vector<std::string> parts;
  for (const DataField::Part &part : field.parts) {
    const std::string bits = describe(part.bits);
    parts.push_back(one_word ? bits : fmt::format("word {}{}{}", part.word, bits.empty() ? "" : " ", bits));
  }
  return joined(parts, ", ");
}

std::string data_of(const MacroEntry &entry, bool input) {
  std::string page;
  for (const DataBlock &block : entry.data) {
    if (block.input != input)
      continue;
    const std::string title = block.title.empty() ? std::string{} : ": " + block.title;
    page += fmt::format("  {:12}  {}\n", block.name,
                        with_scope(sum_of(block.start, block.size, block.count) + title, block, entry));
    Columns fields{16};
    for (const DataField &field : block.fields) {
      fields.add({field.name, place_of(field, block.size.text() == "1"), field.title});
      for (const NamedValue &value : field.values)
        fields.add({"",
                    value.name.empty() ? std::to_string(value.value) : fmt::format("{} ({})", value.name, value.value),
                    value.title});
      for (const Flag &flag : field.flags)
        fields.add({"", flag.name, flag.title});
    }
    page += fields.text();
  }
  if (page.empty())
    return page;
  return (input ? "\nReads from _DATA (--data):\n" : "\nWrites to _DATA:\n") + page;
}

std::string outcomes_of(const MacroEntry &entry) {
  std::string page;
  if (!entry.findings.empty()) {
    page += "\nFindings (exit status 1):\n";
    for (const FindingRule &rule : entry.findings)
      page += filled(with_scope(rule.title, rule, entry), 2);
  }
  if (!entry.errors.empty()) {
    Columns rows{2};
    for (const Refusal &refusal : entry.errors)
      rows.add({std::to_string(refusal.subcode), refusal.title});
    page += "\nSub-codes of refused parameters:\n" + rows.text();
  }
  return page;
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
    least.name = text_of(parameter, least.value);
  return least;
}

}  // namespace

std::string example_of(const MacroEntry &entry) {
  std::string example = fmt::format("mcrhost run {} --unit {}:0.0", entry.name, scdb::info(entry.unit).name);
  const macro_word rw = entry.directions.empty() ? 1 : entry.directions.front().rw;
  if (!entry.directions.empty())
    example += fmt::format(" --rw {}", entry.directions.front().name);
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
    return example + fmt::format(" --data W1 ... W{}", inputs);
  for (std::size_t i = 0; i < inputs; ++i)
    example += i == 0 ? " --data 0" : " 0";
  return example;
}

std::string page_of(const MacroEntry &entry, const scdb::Macro &macro) {
  std::string page = fmt::format("{}: {}\n{}", entry.name, entry.title, facts_of(entry, macro));
  if (!entry.text.empty())
    page += "\n" + filled(entry.text, 0);
  return page + directions_of(entry) + parameters_of(entry) + data_of(entry, true) + data_of(entry, false)
         + outcomes_of(entry) + fmt::format("\nExample:\n  {}\n", example_of(entry));
}

}  // namespace host
