#include "engine/report/reference.hpp"

#include <fmt/format.h>

#include <initializer_list>

#include "engine/catalogue/fields.hpp"
#include "engine/report/entry_text.hpp"
#include "engine/text/error.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

constexpr std::string_view MADE = "<!-- Made of the catalogue; changes belong there. -->\n\n";

/// A text as Markdown shows it: what would be mark-up is not.
std::string plain(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (std::string_view{"|_*<\\`"}.find(c) != std::string_view::npos)
      result += '\\';
    result += c;
  }
  return result;
}

std::string code(std::string_view text) {
  return fmt::format("`{}`", text);
}

/// A table; nothing without rows.
class Table {
 public:
  /// @param title  its heading; may be empty.
  Table(std::string_view title, std::initializer_list<std::string_view> columns)
      : head_{title.empty() ? "\n" : fmt::format("\n**{}**\n\n", title)} {
    head_ += fmt::format("| {} |\n|", fmt::join(columns, " | "));
    for (std::size_t i = 0; i < columns.size(); ++i)
      head_ += "-|";
  }
  void add(std::initializer_list<std::string> cells) { rows_ += fmt::format("\n| {} |", fmt::join(cells, " | ")); }
  [[nodiscard]] std::string text() const { return rows_.empty() ? std::string{} : head_ + rows_ + "\n"; }

 private:
  std::string head_;
  std::string rows_;
};

/// Several lines in one cell of a table.
std::string lines(const std::vector<std::string> &texts) {
  return joined(texts, "<br>");
}

/// A name with what it means.
std::string meaning(std::string_view name, std::string_view title) {
  return title.empty() ? code(name) : fmt::format("{}: {}", code(name), plain(title));
}

std::string number_of(const NamedValue &value) {
  const std::string title = plain(value.title);
  const std::string number = std::to_string(value.value);
  const std::string name = value.name.empty() ? number : fmt::format("{} {}", number, code(value.name));
  return title.empty() ? name : fmt::format("{}: {}", name, title);
}

std::string directions_table(const MacroEntry &entry, SubjectName name) {
  const std::string direction_name = code(name(Subject::direction));
  if (entry.directions.empty())
    return fmt::format("\nThe direction ({}) is not looked at.\n", direction_name);
  Table table{"Directions", {direction_name, "Value", "What the macro does"}};
  for (const MacroDirection &direction : entry.directions)
    table.add({code(direction.name), rw_text(direction.rw), plain(direction.title)});
  table.add({"other", "", plain(otherwise_of(entry))});
  return table.text();
}

std::string choices_of(const Parameter &parameter) {
  std::vector<std::string> choices;
  for (const NamedValue &value : parameter.values)
    choices.push_back(number_of(value));
  for (const Flag &flag : parameter.flags)
    choices.push_back(fmt::format("bit {} {}", parameter.bits.least + flag.bit, meaning(flag.name, flag.title)));
  return choices.empty() ? plain(accepted_by(parameter, nullptr)) : lines(choices);
}

std::string parameters_table(const MacroEntry &entry) {
  Table table{"Parameters", {"Field", "Place", "What it is", "Accepted", "Else"}};
  for (const Parameter &parameter : entry.parameters)
    table.add({code(parameter.name), plain(place_of(parameter)), plain(title_of(parameter, entry)),
               choices_of(parameter), parameter.refused ? std::to_string(*parameter.refused) : ""});
  return table.text();
}

std::string data_tables(const MacroEntry &entry, bool input) {
  Table table{input ? "Reads from _DATA" : "Writes to _DATA", {"Record", "Field", "Place", "What it is"}};
  for (const DataBlock &block : entry.data) {
    if (block.input != input)
      continue;
    table.add({code(block.name), "", "", plain(title_of(block, entry))});
    for (const DataField &field : block.fields) {
      std::vector<std::string> meanings;
      if (!field.title.empty())
        meanings.push_back(plain(field.title));
      for (const NamedValue &value : field.values)
        meanings.push_back(number_of(value));
      for (const Flag &flag : field.flags)
        meanings.push_back(meaning(flag.name, flag.title));
      table.add({"", code(field.name), place_of(field, block), lines(meanings)});
    }
  }
  return table.text();
}

std::string outcomes_table(const MacroEntry &entry) {
  std::string page;
  for (const FindingRule &rule : entry.findings)
    page += fmt::format("- {}\n", plain(with_scope(rule.title, rule, entry)));
  if (!page.empty())
    page = "\n**Findings**\n\n" + page;
  Table table{"Sub-codes", {"Sub-code", "Refused because"}};
  for (const Refusal &refusal : entry.errors)
    table.add({std::to_string(refusal.subcode), plain(refusal.title)});
  return page + table.text();
}

/// Paragraphs as they are; the catalogue's texts have no mark-up.
std::string paragraphs(std::string_view text) {
  return text.empty() ? std::string{} : fmt::format("\n{}\n", plain(text));
}

const scdb::Macro &macro_of(const MacroEntry &entry) {
  const scdb::Macro *const macro = scdb::find_macro(entry.name);
  if (macro == nullptr)
    throw InputError(fmt::format("the catalogue describes {}, which no macro library has", entry.name));
  return *macro;
}

std::string section_of(const MacroEntry &entry, SubjectName subject) {
  Table facts{"", {"", ""}};
  for (const auto &[name, text] : facts_of(entry, macro_of(entry)))
    if (name != "family")
      facts.add({name, plain(text)});
  return fmt::format("\n## {}\n\n{}.\n", entry.name, plain(entry.title)) + paragraphs(entry.text) + facts.text()
         + directions_table(entry, subject) + parameters_table(entry) + data_tables(entry, true)
         + data_tables(entry, false) + outcomes_table(entry)
         + fmt::format("\n```\n{}\n```\n", example_of(entry, subject));
}

/// The name of a heading in links.
std::string anchor_of(std::string_view name) {
  std::string anchor{name};
  for (char &c : anchor)
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
  return anchor;
}

}  // namespace

std::string reference_of(const Family &family, SubjectName name) {
  Table macros{"", {"Macro", "Unit", "What it does"}};
  std::string sections;
  for (const MacroEntry &entry : family.macros) {
    macros.add({fmt::format("[{}](#{})", entry.name, anchor_of(entry.name)), std::string{scdb::info(entry.unit).name},
                plain(entry.title)});
    sections += section_of(entry, name);
  }
  return fmt::format("{}# {}\n", MADE, plain(family.title)) + paragraphs(family.text) + macros.text()
         + "\nBits count from the least significant, bit 0. A value that is not accepted is refused with the sub-code under\n"
           "\"Else\", where there is one.\n"
         + sections;
}

std::string reference_index(std::span<const std::shared_ptr<const Family>> families) {
  Table table{"", {"Family", "Macros"}};
  std::size_t count = 0;
  for (const std::shared_ptr<const Family> &row : families) {
    const Family &family = *row;
    std::vector<std::string> names;
    for (const MacroEntry &entry : family.macros)
      names.push_back(fmt::format("[{}]({}.md#{})", entry.name, family.name, anchor_of(entry.name)));
    count += names.size();
    table.add({fmt::format("[{}]({}.md)", plain(family.title), family.name), joined(names, ", ")});
  }
  return fmt::format("{}# The macros\n\n{} macros in {} families.\n", MADE, count, families.size()) + table.text();
}

}  // namespace engine
