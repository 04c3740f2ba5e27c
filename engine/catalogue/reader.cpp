#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <span>

#include "engine/catalogue/catalogue.hpp"
#include "engine/text/error.hpp"
#include "engine/text/toml_reader.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/chips.hpp"

namespace engine {
namespace {

/// Far beyond what any macro takes or gives.
constexpr std::int64_t LAST_PARAMETER_WORD = 255;
constexpr std::int64_t LAST_DATA_WORD = (1 << 24) - 1;
constexpr unsigned FIELD_BITS = 64;

constexpr std::array<Name<FieldKind>, 7> FIELD_KINDS{{{"hex", FieldKind::hex},
                                                      {"number", FieldKind::number},
                                                      {"signed", FieldKind::signed_number},
                                                      {"flag", FieldKind::flag},
                                                      {"boards", FieldKind::boards},
                                                      {"chips", FieldKind::chips},
                                                      {"syndrome", FieldKind::syndrome}}};
constexpr std::array<Name<SyndromeCode>, 3> CODES{
    {{"front", SyndromeCode::front}, {"behind", SyndromeCode::behind}, {"tag", SyndromeCode::tag}}};

/// Takes the text of a family apart.
class EntryReader final : TomlReader {
 public:
  EntryReader(const std::string &origin, std::string_view family) : TomlReader{origin} { family_.name = family; }

  Family read(std::string_view source) {
    const toml::table root = parse(source);
    check_keys(root, {"title", "text", "macro"});
    family_.title = needed_text(root, "title");
    family_.text = text(root, "text");
    each_table(root, "macro", [this](const toml::table &table) { read_members(table); });
    return std::move(family_);
  }

 private:
  /// A text with the member's own numbers and words put in for {key}; what is put in is not looked at again.
  [[nodiscard]] std::string filled(std::string text) const override {
    for (std::size_t at = 0; (at = text.find('{', at)) != std::string::npos;) {
      const std::size_t end = text.find('}', at);
      const auto own = variables_.find(text.substr(at, end == std::string::npos ? end : end + 1 - at));
      if (own == variables_.end()) {
        ++at;
      } else {
        text.replace(at, own->first.size(), own->second);
        at += own->second.size();
      }
    }
    return text;
  }

  [[nodiscard]] Expression expression(const toml::node &node, std::string_view what) const {
    if (node.is_integer())
      return Expression{integer(node, what, -MOST_WORD, MOST_WORD)};
    if (!node.is_string())
      fail(node, fmt::format("'{}' must be a whole number, or an expression in quotation marks", what));
    try {
      Expression parsed = Expression::parse(text(node, what));
      for (const std::string_view name : parsed.names())
        static_cast<void>(parameter(node, name));
      return parsed;
    } catch (const ExpressionError &error) {
      fail(node, error.what());
    }
  }
  [[nodiscard]] Expression expression(const toml::table &table, std::string_view key, std::int64_t if_missing) const {
    const toml::node *const node = table.get(key);
    return node == nullptr ? Expression{if_missing} : expression(*node, key);
  }
  [[nodiscard]] Bits bits(const toml::table &table) const {
    const toml::node *const node = table.get("bits");
    if (node == nullptr)
      return {};
    const std::string list = text(*node, "bits");
    const std::vector<std::string_view> ends = split(list, '-');
    try {
      const Bits bits{parse_word(ends.front(), "bits"), parse_word(ends.back(), "bits")};
      if (ends.size() <= 2 && bits.least <= bits.most && bits.most <= 31)
        return bits;
    } catch (const InputError &) {
      // Said below, with the place.
    }
    fail(*node, fmt::format("'bits' is '{}'; write \"7\" or \"3-4\", from 0, the least significant, to 31", list));
  }

  // Names of parameters and directions.

  [[nodiscard]] const Parameter &parameter(const toml::node &node, std::string_view name) const {
    const auto found = std::ranges::find(entry_->parameters, name, &Parameter::name);
    if (found == entry_->parameters.end())
      fail(node, fmt::format("there is no parameter '{}' further up", name));
    return *found;
  }
  void check_direction(const toml::node &node, std::string_view name) const {
    if (entry_->direction(name) == nullptr)
      fail(node, fmt::format("the macro has no direction '{}'", name));
  }
  /// What a condition says of a parameter: a value, a name, or a list of them.
  void add_to(Condition &condition, const toml::node &node) const {
    static_cast<void>(parameter(node, condition.parameter));
    if (node.is_array()) {
      for (const toml::node &element : *node.as_array())
        add_to(condition, element);
      return;
    }
    if (node.is_integer()) {
      condition.values.push_back(static_cast<macro_word>(integer(node, condition.parameter, 0, MOST_WORD)));
      return;
    }
    const std::string name = text(node, condition.parameter);
    for (const Parameter &row : entry_->parameters) {
      if (row.name != condition.parameter)
        continue;
      for (const NamedValue &value : row.values)
        if (value.name == name)
          return condition.values.push_back(value.value);
      for (const Flag &flag : row.flags)
        if (flag.name == name) {
          condition.flags |= macro_word{1} << flag.bit;
          return;
        }
    }
    fail(node, fmt::format("'{}' has no value '{}'", condition.parameter, name));
  }
  void read_scope(const toml::table &table, Scope &scope) const {
    each(table, "directions", [&](const toml::node &element) {
      scope.directions.push_back(text(element, "directions"));
      check_direction(element, scope.directions.back());
    });
    const toml::node *const when = table.get("when");
    if (when == nullptr)
      return;
    if (!when->is_table())
      fail(*when, "'when' must be a table, such as {class = 1}");
    for (const auto &[key, node] : *when->as_table()) {
      scope.when.push_back({std::string{key.str()}, {}, 0});
      add_to(scope.when.back(), node);
    }
  }

  // What parameters and fields of data have in common.

  [[nodiscard]] std::vector<NamedValue> values(const toml::table &table) const {
    std::vector<NamedValue> list;
    each_table(table, "values", [&](const toml::table &row) {
      check_keys(row, {"value", "name", "title"});
      list.push_back({static_cast<macro_word>(integer(needed(row, "value"), "value", 0, MOST_WORD)), text(row, "name"),
                      text(row, "title")});
    });
    return list;
  }
  [[nodiscard]] std::vector<Flag> flags(const toml::table &table, unsigned width) const {
    std::vector<Flag> list;
    each_table(table, "flags", [&](const toml::table &row) {
      check_keys(row, {"bit", "name", "title"});
      list.push_back({static_cast<unsigned>(integer(needed(row, "bit"), "bit", 0, std::min(width, 32U) - 1)),
                      needed_text(row, "name"), text(row, "title")});
    });
    return list;
  }

  // A macro.

  void read_members(const toml::table &table) {
    check_keys(table, {"name", "names", "vars", "unit", "title", "text", "changes", "together", "calls", "accesses",
                       "otherwise", "direction", "parameter", "data", "error", "finding"});
    variables_.clear();
    if ((table.get("name") == nullptr) == (table.get("names") == nullptr))
      fail(table, "give either 'name' or 'names'");
    const std::vector<std::string> names =
        table.get("name") != nullptr ? std::vector{needed_text(table, "name")} : texts(table, "names");
    for (std::size_t member = 0; member < names.size(); ++member) {
      read_variables(table, member, names.size());
      read_macro(table, names[member]);
    }
    variables_.clear();
  }
  void read_variables(const toml::table &table, std::size_t member, std::size_t members) {
    variables_.clear();
    const toml::node *const node = table.get("vars");
    if (node == nullptr)
      return;
    if (!node->is_table())
      fail(*node, "'vars' must be a table of lists");
    std::map<std::string, std::string> own;
    for (const auto &[key, list] : *node->as_table()) {
      if (!list.is_array() || list.as_array()->size() != members)
        fail(list, fmt::format("'{}' must be a list with {} elements, one for each name", key.str(), members));
      const toml::node &element = *list.as_array()->get(member);
      if (!element.is_integer() && !element.is_string())
        fail(element, fmt::format("'{}' must have whole numbers or texts", key.str()));
      own[fmt::format("{{{}}}", key.str())] =
          element.is_integer() ? std::to_string(element.as_integer()->get()) : element.as_string()->get();
    }
    variables_ = std::move(own);
  }
  void read_macro(const toml::table &table, const std::string &name) {
    if (!names_.insert(name).second)
      fail(table, fmt::format("there is a second entry for '{}'", name));
    MacroEntry &entry = family_.macros.emplace_back();
    entry_ = &entry;
    entry.name = name;
    entry.family = family_.name;
    entry.family_title = family_.title;
    const std::optional<scdb::ChipKind> kind = scdb::kind_named(needed_text(table, "unit"));
    if (!kind)
      fail(needed(table, "unit"), fmt::format("'unit' must be one of {}", kinds_of_units()));
    entry.unit = *kind;
    entry.title = needed_text(table, "title");
    entry.text = text(table, "text");
    entry.otherwise = text(table, "otherwise");
    each_table(table, "direction", [this](const toml::table &row) { read_direction(row); });
    entry.changes = when(needed(table, "changes"), "changes");
    if (const toml::node *const node = table.get("together"))
      entry.together = when(*node, "together");
    each_table(table, "parameter", [this](const toml::table &row) { read_parameter(row); });
    each_table(table, "data", [this](const toml::table &row) { read_data(row); });
    each_table(table, "error", [this](const toml::table &row) { read_error(row); });
    each_table(table, "finding", [this](const toml::table &row) { read_finding(row); });
    each(table, "calls", [this](const toml::node &node) { entry_->calls.push_back(test_number(node)); });
    if (const toml::node *const node = table.get("accesses"))
      read_accesses(table, *node);
  }
  [[nodiscard]] When when(const toml::node &node, std::string_view key) const {
    When when;
    if (node.is_array()) {
      for (const toml::node &element : *node.as_array()) {
        when.directions.push_back(text(element, key));
        check_direction(element, when.directions.back());
      }
      return when;
    }
    const std::string word = text(node, key);
    if (word != "always" && word != "never")
      fail(node, fmt::format("'{}' must be \"always\", \"never\", or a list of directions", key));
    when.always = word == "always";
    return when;
  }
  [[nodiscard]] unsigned test_number(const toml::node &node) const {
    if (!node.is_string())
      return static_cast<unsigned>(integer(node, "calls", 0, 0xFFFF));
    try {
      const macro_word number = parse_word(text(node, "calls"), "calls");
      if (number <= 0xFFFF)
        return number;
    } catch (const InputError &) {
      // Said below, with the place.
    }
    fail(node, "'calls' must be test numbers, such as 0x9ACA");
  }
  void read_accesses(const toml::table &table, const toml::node &node) {
    if (!node.is_array()) {
      entry_->accesses.push_back({{}, expression(node, "accesses")});
      return;
    }
    each_table(table, "accesses", [this](const toml::table &row) {
      check_keys(row, {"count", "directions", "when"});
      AccessCount count;
      read_scope(row, count);
      count.count = expression(needed(row, "count"), "count");
      entry_->accesses.push_back(std::move(count));
    });
  }
  void read_direction(const toml::table &row) {
    check_keys(row, {"rw", "name", "title"});
    entry_->directions.push_back({static_cast<macro_word>(integer(needed(row, "rw"), "rw", -1, MOST_WORD)),
                                  needed_text(row, "name"), needed_text(row, "title")});
  }
  void read_parameter(const toml::table &row) {
    check_keys(row, {"name", "word", "bits", "title", "range", "values", "flags", "default", "directions", "when",
                     "refused", "calls"});
    Parameter parameter;
    parameter.name = needed_text(row, "name");
    const auto is_part = [](char c) {
      return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
    };
    if (parameter.name.front() < 'a' || parameter.name.front() > 'z' || !std::ranges::all_of(parameter.name, is_part))
      fail(needed(row, "name"),
           "a parameter's name has letters, digits and hyphens, and begins with a lower-case letter");
    parameter.title = needed_text(row, "title");
    parameter.word = static_cast<std::size_t>(integer(needed(row, "word"), "word", 0, LAST_PARAMETER_WORD));
    parameter.bits = bits(row);
    parameter.values = values(row);
    parameter.flags = flags(row, parameter.bits.width());
    for (const NamedValue &value : parameter.values)
      if (value.value > parameter.bits.limit())
        fail(row, fmt::format("the value {} does not fit the bits of '{}'", value.value, parameter.name));
    if (row.get("range") != nullptr)
      parameter.range = range(*row.get("range"));
    const std::array kinds{parameter.range.has_value(), !parameter.values.empty(), !parameter.flags.empty()};
    if (std::ranges::count(kinds, true) > 1)
      fail(row, "give one of 'range', 'values' and 'flags'");
    if (const toml::node *const node = row.get("default"))
      parameter.value_if_missing = static_cast<macro_word>(integer(*node, "default", 0, parameter.bits.limit()));
    if (const toml::node *const node = row.get("refused"))
      parameter.refused = static_cast<std::int32_t>(integer(*node, "refused", INT32_MIN, -1));
    parameter.hexadecimal = is_hexadecimal(row.get("range")) || is_hexadecimal(row.get("default"));
    if (const toml::node *const node = row.get("calls"))
      parameter.calls = called_macro(*node);
    read_scope(row, parameter);
    entry_->parameters.push_back(std::move(parameter));
    const std::string &name = entry_->parameters.back().name;
    if (std::set<std::string_view> seen; depends_on(name, name, seen))
      fail(row, fmt::format("whether '{0}' is used depends on '{0}' itself", name));
  }
  /// Whether it depends on one parameter, directly or through others, which row of another one holds.
  [[nodiscard]] bool depends_on(std::string_view on, std::string_view parameter,
                                std::set<std::string_view> &seen) const {
    for (const Parameter &row : entry_->parameters)
      if (row.name == parameter)
        for (const Condition &condition : row.when)
          if (condition.parameter == on
              || (seen.insert(condition.parameter).second && depends_on(on, condition.parameter, seen)))
            return true;
    return false;
  }
  /// Whether a number, or one in a list, is written with 0x.
  [[nodiscard]] static bool is_hexadecimal(const toml::node *node) {
    if (node == nullptr)
      return false;
    if (const toml::array *const list = node->as_array())
      return std::ranges::any_of(*list, [](const toml::node &element) { return is_hexadecimal(&element); });
    const toml::value<std::int64_t> *const number = node->as_integer();
    return number != nullptr && (number->flags() & toml::value_flags::format_as_hexadecimal) != toml::value_flags::none;
  }
  [[nodiscard]] CalledMacro called_macro(const toml::node &node) const {
    if (!node.is_table())
      fail(node, "'calls' must be a table, such as {rw = 1, data-words = 2}");
    const toml::table &table = *node.as_table();
    check_keys(table, {"rw", "data-words"});
    return {static_cast<macro_word>(integer(needed(table, "rw"), "rw", -1, MOST_WORD)),
            static_cast<std::size_t>(integer(needed(table, "data-words"), "data-words", 0, LAST_DATA_WORD))};
  }
  [[nodiscard]] std::pair<Expression, Expression> range(const toml::node &node) const {
    if (!node.is_array() || node.as_array()->size() != 2)
      fail(node, "'range' must be a list of the least and the most value");
    return {expression(*node.as_array()->get(0), "range"), expression(*node.as_array()->get(1), "range")};
  }
  void read_data(const toml::table &row) {
    check_keys(row, {"name", "title", "role", "directions", "when", "start", "size", "count", "number", "modulo",
                     "labels", "optional", "field"});
    DataBlock block;
    block.name = needed_text(row, "name");
    block.title = text(row, "title");
    constexpr std::array<Name<bool>, 2> ROLES{{{"result", false}, {"input", true}}};
    block.input = choice(row, "role", ROLES, false);
    block.optional = boolean(row, "optional", false);
    block.start = expression(row, "start", 0);
    block.size = expression(row, "size", 1);
    block.count = expression(row, "count", 1);
    block.number = expression(row, "number", 0);
    if (row.get("modulo") != nullptr)
      block.modulo = expression(row, "modulo", 1);
    block.labels = texts(row, "labels");
    read_scope(row, block);
    each_table(row, "field", [&](const toml::table &field) { block.fields.push_back(read_field(field)); });
    entry_->data.push_back(std::move(block));
  }
  [[nodiscard]] DataField read_field(const toml::table &row) const {
    check_keys(row, {"name", "title", "word", "bits", "parts", "kind", "values", "flags", "code"});
    DataField field;
    field.name = needed_text(row, "name");
    field.title = text(row, "title");
    each_table(row, "parts", [&](const toml::table &part) {
      check_keys(part, {"word", "bits"});
      field.pieces.push_back(read_piece(part));
    });
    if (!field.pieces.empty() && (row.get("word") != nullptr || row.get("bits") != nullptr))
      fail(row, "give either 'parts', or 'word' and 'bits'");
    if (field.pieces.empty())
      field.pieces.push_back(read_piece(row));
    if (field.width() > FIELD_BITS)
      fail(row, fmt::format("the parts of '{}' have {} bits, more than {}", field.name, field.width(), FIELD_BITS));
    field.kind = choice(row, "kind", FIELD_KINDS, FieldKind::hex);
    field.code = choice(row, "code", CODES, SyndromeCode::front);
    if ((field.kind == FieldKind::syndrome) != (row.get("code") != nullptr))
      fail(row, "a syndrome has a 'code', and nothing else has");
    field.values = values(row);
    field.flags = flags(row, field.width());
    return field;
  }
  [[nodiscard]] DataField::Piece read_piece(const toml::table &row) const {
    return {static_cast<std::size_t>(integer(row, "word", 0, 0, LAST_DATA_WORD)), bits(row)};
  }
  void read_error(const toml::table &row) {
    check_keys(row, {"subcode", "title"});
    entry_->errors.push_back({static_cast<std::int32_t>(integer(needed(row, "subcode"), "subcode", INT32_MIN, -1)),
                              needed_text(row, "title")});
  }
  void read_finding(const toml::table &row) {
    check_keys(row, {"title", "word", "mask", "data", "field", "equals", "directions", "when"});
    FindingRule rule;
    rule.title = needed_text(row, "title");
    if ((row.get("word") == nullptr) == (row.get("data") == nullptr))
      fail(row, "give either 'word' or 'data'");
    if (row.get("word") != nullptr)
      rule.place = FindingWord{static_cast<std::size_t>(integer(row, "word", 0, 0, LAST_DATA_WORD)),
                               static_cast<macro_word>(integer(row, "mask", MOST_WORD, 1, MOST_WORD))};
    else
      rule.place = place_of_finding(row);
    if (const toml::node *const node = row.get("equals"))
      rule.equals = static_cast<std::uint64_t>(integer(*node, "equals", 0, INT64_MAX));
    read_scope(row, rule);
    entry_->findings.push_back(std::move(rule));
  }
  [[nodiscard]] FindingField place_of_finding(const toml::table &row) const {
    FindingField place{needed_text(row, "data"), text(row, "field")};
    for (const DataBlock &block : entry_->data) {
      const bool has_field =
          place.field.empty() || std::ranges::find(block.fields, place.field, &DataField::name) != block.fields.end();
      if (block.name == place.data && !block.input && has_field)
        return place;
    }
    fail(row, fmt::format("no result '{}'{} is described further up", place.data,
                          place.field.empty() ? "" : fmt::format(" with a field '{}'", place.field)));
  }

  static constexpr std::int64_t MOST_WORD = MACRO_ALL;

  Family family_;
  std::set<std::string> names_;                   ///< of all macros so far
  std::map<std::string, std::string> variables_;  ///< "{key}" and what stands for it
  MacroEntry *entry_ = nullptr;                   ///< the macro that is read
};

}  // namespace

Family read_family(std::string_view text, const std::string &origin, std::string_view name) {
  return EntryReader{origin, name}.read(text);
}

}  // namespace engine
