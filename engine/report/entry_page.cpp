#include "engine/report/entry_page.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/catalogue/fields.hpp"
#include "engine/report/entry_text.hpp"
#include "engine/text/page.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

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

std::string directions_of(const MacroEntry &entry, SubjectName name) {
  if (entry.directions.empty())
    return fmt::format("\nDirection ({}): not looked at.\n", name(Subject::direction));
  Columns rows{2};
  for (const MacroDirection &direction : entry.directions)
    rows.add({direction.name, rw_text(direction.rw), direction.title});
  rows.add({"other", "", otherwise_of(entry)});
  return fmt::format("\nDirections ({}):\n{}", name(Subject::direction), rows.text());
}

std::string parameters_of(const MacroEntry &entry) {
  if (entry.parameters.empty())
    return "\nParameters: none.\n";
  std::string page = "\nParameters (NAME=VALUE), bits from the least significant:\n";
  std::size_t width = LEAST_NAME_WIDTH;
  for (const Parameter &parameter : entry.parameters)
    width = std::max(width, parameter.name.size());
  for (const Parameter &parameter : entry.parameters) {
    page += fmt::format("  {:{}}  {:18}  {}\n", parameter.name, width, place_of(parameter), title_of(parameter, entry));
    Columns choices{16};
    for (const NamedValue &value : parameter.values)
      choices.add({name_of(value), value.title});
    for (const Flag &flag : parameter.flags)
      choices.add({flag.name, fmt::format("bit {}", parameter.bits.least + flag.bit), flag.title});
    page += choices.text();
    if (parameter.values.empty() && parameter.flags.empty())
      page += fmt::format("{:16}{}{}\n", "", accepted_by(parameter, nullptr),
                          parameter.refused ? fmt::format("; else refused with {}", *parameter.refused) : "");
    else if (parameter.refused)
      page += fmt::format("{:16}others are refused with {}\n", "", *parameter.refused);
    if (parameter.calls)
      page += fmt::format("{:16}of a macro that needs at most {} words of _DATA\n", "", parameter.calls->data_words);
  }
  return page;
}

std::string data_of(const MacroEntry &entry, bool input, SubjectName name) {
  std::string page;
  for (const DataBlock &block : entry.data) {
    if (block.input != input)
      continue;
    page += fmt::format("  {:12}  {}\n", block.name, title_of(block, entry));
    Columns fields{16};
    for (const DataField &field : block.fields) {
      fields.add({field.name, place_of(field, block), field.title});
      for (const NamedValue &value : field.values)
        fields.add({"", name_of(value), value.title});
      for (const Flag &flag : field.flags)
        fields.add({"", flag.name, flag.title});
    }
    page += fields.text();
  }
  if (page.empty())
    return page;
  return (input ? fmt::format("\nReads from _DATA ({}):\n", name(Subject::data)) : "\nWrites to _DATA:\n") + page;
}

std::string outcomes_of(const MacroEntry &entry) {
  std::string page;
  if (!entry.findings.empty()) {
    page += "\nFindings:\n";
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

}  // namespace

std::string page_of(const MacroEntry &entry, const scdb::Macro &macro, SubjectName name) {
  Columns facts{2};
  for (const auto &[fact, text] : facts_of(entry, macro))
    facts.add({fact, text});
  std::string page = fmt::format("{}: {}\n{}", entry.name, entry.title, facts.text());
  if (!entry.text.empty())
    page += "\n" + filled(entry.text, 0);
  return page + directions_of(entry, name) + parameters_of(entry) + data_of(entry, true, name)
         + data_of(entry, false, name) + outcomes_of(entry)
         + fmt::format("\nExample:\n  {}\n", example_of(entry, name));
}

}  // namespace engine
