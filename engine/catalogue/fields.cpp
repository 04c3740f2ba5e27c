#include "engine/catalogue/fields.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/text/error.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

struct Assignment {
  const FieldValue *field;
  bool used = false;

  [[nodiscard]] const std::string &name() const { return field->name; }
};

std::vector<Assignment> assignments_of(const std::vector<FieldValue> &fields) {
  std::vector<Assignment> assignments;
  for (const FieldValue &field : fields) {
    if (std::ranges::find(assignments, field.name, &Assignment::name) != assignments.end())
      throw InputError(fmt::format("'{}' is given twice", field.name));
    assignments.push_back({&field});
  }
  return assignments;
}

void add_once(std::vector<std::string> &names, const std::string &name) {
  if (std::ranges::find(names, name) == names.end())
    names.push_back(name);
}

/// An input of a single record has fields that can be given by name: its own, or the record itself.
std::vector<DataField> fields_to_give(const DataBlock &block) {
  if (!block.fields.empty())
    return block.fields;
  DataField whole;
  whole.name = block.name;
  whole.pieces = {{}};
  return {whole};
}
bool can_be_given(const DataBlock &block) {
  const auto is_one = [](const Expression &expression) { return expression.text() == "1"; };
  return block.input && is_one(block.count) && (!block.fields.empty() || is_one(block.size));
}

bool looked_at(const Scope &scope, const MacroDirection *direction) {
  return direction == nullptr || scope.directions.empty()
         || std::ranges::find(scope.directions, direction->name) != scope.directions.end();
}

std::string names_of_fields(const MacroEntry &entry) {
  const std::vector<std::string> names = field_names(entry);
  return names.empty() ? "it has none" : fmt::format("it has {}", joined(names));
}

template <class Row>
std::string choice_of(macro_word number, const Row &row) {
  return row.name.empty() ? std::to_string(number) : fmt::format("{} ({})", row.name, number);
}

/// The number that a text means to a field; nothing where it is neither a name nor a number.
std::optional<macro_word> number_of(std::string_view text, const std::vector<NamedValue> &values,
                                    const std::vector<Flag> &flags) {
  for (const NamedValue &value : values)
    if (!value.name.empty() && value.name == text)
      return value.value;
  if (!flags.empty()) {
    macro_word set = 0;
    bool named = true;
    for (const std::string_view name : split(text, '+')) {
      const auto flag = std::ranges::find(flags, name, &Flag::name);
      if (flag != flags.end())
        set |= macro_word{1} << flag->bit;
      else if (name == "all")
        for (const Flag &row : flags)
          set |= macro_word{1} << row.bit;
      else
        named = named && name == "none";
    }
    if (named)
      return set;
  }
  try {
    return parse_word(text, "");
  } catch (const InputError &) {
    return std::nullopt;
  }
}

bool accepts(const Parameter &parameter, macro_word value, const Arguments &arguments) {
  if (value > parameter.bits.limit())
    return false;
  if (parameter.range)
    return value >= arguments.value(parameter.range->first) && value <= arguments.value(parameter.range->second);
  if (!parameter.flags.empty()) {
    for (const Flag &flag : parameter.flags)
      value &= ~(macro_word{1} << flag.bit);
    return value == 0;
  }
  return parameter.values.empty()
         || std::ranges::find(parameter.values, value, &NamedValue::value) != parameter.values.end();
}

std::optional<macro_word> number_of(const FieldValue &field, const std::vector<NamedValue> &values,
                                    const std::vector<Flag> &flags) {
  if (const auto *const number = std::get_if<std::int64_t>(&field.value))
    return static_cast<macro_word>(*number);
  return number_of(std::get<std::string>(field.value), values, flags);
}

macro_word value_for(const Parameter &parameter, const FieldValue &field, const Arguments &arguments) {
  const std::optional<macro_word> value = number_of(field, parameter.values, parameter.flags);
  if (!value || !accepts(parameter, *value, arguments))
    throw InputError({fmt::format("{}: accepted are {}; ", describe(field), accepted_by(parameter, &arguments)),
                      Subject::para, " gives other words to the macro"});
  return *value;
}

macro_word &word_at(std::vector<macro_word> &words, std::size_t index) {
  if (words.size() <= index)
    words.resize(index + 1);
  return words[index];
}

/// Fills in the words of one run.
class Filler {
 public:
  Filler(const MacroEntry &entry, macro_word rw, RunWords given, std::vector<Assignment> assignments)
      : entry_{entry},
        rw_{rw},
        words_{std::move(given)},
        raw_para_{words_.para.size()},
        raw_data_{words_.data.size()},
        assignments_{std::move(assignments)} {}

  RunWords fill() {
    for (const Assignment &assignment : assignments_)
      check_name(assignment.name());
    std::vector<std::string> names;
    for (const Parameter &parameter : entry_.parameters)
      add_once(names, parameter.name);
    for (const std::string &name : names)
      fill_parameter(name);
    fill_inputs();
    for (const Assignment &assignment : assignments_)
      if (!assignment.used)
        throw InputError(fmt::format("'{}' is not used with direction {}", assignment.name(), name_of_direction()));
    check_inputs();
    return std::move(words_);
  }

 private:
  [[nodiscard]] Arguments arguments() const { return {entry_, rw_, words_.para}; }
  [[nodiscard]] std::string name_of_direction() const {
    const MacroDirection *const direction = entry_.direction(rw_);
    return direction != nullptr ? direction->name : hex(rw_);
  }
  Assignment *assigned(std::string_view name) {
    const auto found = std::ranges::find(assignments_, name, &Assignment::name);
    return found == assignments_.end() ? nullptr : &*found;
  }
  void check_name(std::string_view name) const {
    for (const Parameter &parameter : entry_.parameters)
      if (parameter.name == name)
        return;
    for (const DataBlock &block : entry_.data)
      if (can_be_given(block))
        for (const DataField &field : fields_to_give(block))
          if (field.name == name)
            return;
    throw InputError(fmt::format("{} has no field '{}'; {}", entry_.name, name, names_of_fields(entry_)));
  }

  void fill_parameter(const std::string &name) {
    const Arguments now = arguments();
    const Parameter *const row = now.row(name);
    Assignment *const assignment = assigned(name);
    if (row == nullptr) {
      if (assignment != nullptr)
        throw InputError(fmt::format("'{}' is not used with {}", name, selecting(name)));
      return;
    }
    if (!now.uses(*row))
      return;
    if (assignment != nullptr) {
      if (row->word < raw_para_)
        throw InputError({fmt::format("'{}' and ", name), Subject::para,
                          fmt::format(" both give _PARA[{}]; give one of them", row->word)});
      assignment->used = true;
      put(*row, value_for(*row, *assignment->field, now));
    } else if (row->word >= raw_para_) {
      const bool listed = entry_.directions.empty() || now.direction() != nullptr;
      if (!row->value_if_missing && listed)
        throw InputError(fmt::format("{} needs {}=VALUE, {}; accepted are {}", entry_.name, name, row->title,
                                     accepted_by(*row, &now)));
      if (row->value_if_missing)
        put(*row, *row->value_if_missing);
    }
  }
  void put(const Parameter &row, macro_word value) {
    macro_word &word = word_at(words_.para, row.word);
    word = row.bits.put(word, value);
  }
  /// The values on which it depends whether a parameter is used: "class=0, kind=1".
  [[nodiscard]] std::string selecting(std::string_view name) const {
    std::vector<std::string> values;
    for (const Parameter &parameter : entry_.parameters)
      if (parameter.name == name)
        for (const Condition &condition : parameter.when)
          add_once(values, fmt::format("{}={}", condition.parameter, arguments().value(condition.parameter)));
    return joined(values);
  }

  void fill_inputs() {
    for (const DataBlock &block : entry_.data) {
      if (!can_be_given(block) || !arguments().applies(block))
        continue;
      const std::size_t start = arguments().size(block.start);
      for (const DataField &field : fields_to_give(block))
        if (Assignment *const assignment = assigned(field.name); assignment != nullptr && !assignment->used)
          fill_input(start, field, *assignment);
    }
  }
  void fill_input(std::size_t start, const DataField &field, Assignment &assignment) {
    assignment.used = true;
    const std::optional<macro_word> value = number_of(*assignment.field, field.values, field.flags);
    const Bits bits = field.pieces.front().bits;
    if (!value || field.pieces.size() != 1 || *value > bits.limit())
      throw InputError(fmt::format("{}: accepted are 0 to 0x{:X}", describe(*assignment.field), bits.limit()));
    const std::size_t index = start + field.pieces.front().word;
    if (index < raw_data_)
      throw InputError({fmt::format("'{}' and ", field.name), Subject::data,
                        fmt::format(" both give _DATA[{}]; give one of them", index)});
    macro_word &word = word_at(words_.data, index);
    word = bits.put(word, *value);
  }
  void check_inputs() const {
    const std::size_t needed = arguments().data_words(true);
    if (words_.data.size() >= needed)
      return;
    std::vector<std::string> names;
    for (const DataBlock &block : entry_.data)
      if (can_be_given(block) && arguments().applies(block))
        for (const DataField &field : fields_to_give(block))
          add_once(names, field.name + "=");
    throw InputError({fmt::format("{} reads {} {} of _DATA with direction {}, and {} given; give {} with ", entry_.name,
                                  needed, needed == 1 ? "word" : "words", name_of_direction(),
                                  words_.data.empty() ? "none is" : fmt::format("{} are", words_.data.size()),
                                  needed == 1 ? "it" : "all"),
                      Subject::data, names.empty() ? "" : fmt::format(", or {}", joined(names, " "))});
  }

  const MacroEntry &entry_;
  macro_word rw_;
  RunWords words_;
  std::size_t raw_para_;  ///< words that were given as words
  std::size_t raw_data_;
  std::vector<Assignment> assignments_;
};

}  // namespace

std::string describe(const FieldValue &field) {
  const auto *const number = std::get_if<std::int64_t>(&field.value);
  return fmt::format("{}={}", field.name,
                     number != nullptr ? std::to_string(*number) : std::get<std::string>(field.value));
}

RunWords with_fields(const MacroEntry &entry, macro_word rw, RunWords given, const std::vector<FieldValue> &fields) {
  return Filler{entry, rw, std::move(given), assignments_of(fields)}.fill();
}

std::vector<std::string> field_names(const MacroEntry &entry, const MacroDirection *direction) {
  std::vector<std::string> names;
  for (const Parameter &parameter : entry.parameters)
    if (looked_at(parameter, direction))
      add_once(names, parameter.name);
  for (const DataBlock &block : entry.data)
    if (can_be_given(block) && looked_at(block, direction))
      for (const DataField &field : fields_to_give(block))
        add_once(names, field.name);
  return names;
}

ValueNames value_names(const MacroEntry &entry, std::string_view field) {
  ValueNames names;
  const auto add = [&names](const auto &row) {
    for (const NamedValue &value : row.values)
      if (!value.name.empty())
        add_once(names.values, value.name);
    for (const Flag &flag : row.flags)
      add_once(names.flags, flag.name);
  };
  for (const Parameter &parameter : entry.parameters)
    if (parameter.name == field)
      add(parameter);
  for (const DataBlock &block : entry.data)
    if (can_be_given(block))
      for (const DataField &row : fields_to_give(block))
        if (row.name == field)
          add(row);
  return names;
}

macro_word direction_of(const DirectionChoice &choice, const MacroEntry *entry) {
  if (const auto *const number = std::get_if<macro_word>(&choice))
    return *number;
  const bool has_directions = entry != nullptr && !entry->directions.empty();
  if (std::holds_alternative<std::monostate>(choice)) {
    if (!has_directions || entry->direction(RW_READ) != nullptr)
      return RW_READ;
    std::vector<std::string> names;
    for (const MacroDirection &direction : entry->directions)
      names.push_back(direction.name);
    throw InputError({fmt::format("{} needs a direction; give ", entry->name), Subject::direction,
                      fmt::format(" {}", joined(names, " or "))});
  }
  const auto &text = std::get<std::string>(choice);
  if (has_directions)
    if (const MacroDirection *const direction = entry->direction(text))
      return direction->rw;
  if (text == "read")
    return RW_READ;
  if (text == "write")
    return RW_WRITE;
  if (text == "none")
    return RW_NONE;
  try {
    return parse_word(text, "");
  } catch (const InputError &) {
    throw InputError{Subject::direction,
                     fmt::format("'{}' is no direction; give read (1), write (2), none (-1) or a number", text)};
  }
}

std::string accepted_by(const Parameter &parameter, const Arguments *arguments) {
  const auto end = [&](const Expression &expression) {
    if (arguments == nullptr && !expression.is_constant())
      return expression.text();
    const std::int64_t value =
        arguments != nullptr ? arguments->value(expression) : expression.value([](std::string_view) { return 0; });
    return parameter.hexadecimal ? fmt::format("0x{:X}", value) : std::to_string(value);
  };
  std::vector<std::string> choices;
  if (parameter.range) {
    const std::string least = end(parameter.range->first);
    const std::string most = end(parameter.range->second);
    return least == most ? least : fmt::format("{} to {}", least, most);
  }
  for (const NamedValue &value : parameter.values)
    choices.push_back(choice_of(value.value, value));
  if (!choices.empty())
    return joined(choices);
  for (const Flag &flag : parameter.flags)
    choices.push_back(flag.name);
  if (!choices.empty())
    return fmt::format("{}, several joined by +, all, none", joined(choices));
  return parameter.bits.whole() ? "all words" : fmt::format("0 to {}", parameter.bits.limit());
}

std::string value_text(const Parameter &parameter, macro_word value) {
  for (const NamedValue &row : parameter.values)
    if (row.value == value && !row.name.empty())
      return row.name;
  if (!parameter.flags.empty()) {
    std::vector<std::string> names;
    macro_word left = value;
    for (const Flag &flag : parameter.flags)
      if ((value >> flag.bit & 1) != 0) {
        names.push_back(flag.name);
        left &= ~(macro_word{1} << flag.bit);
      }
    if (left == 0)
      return names.empty() ? "none" : names.size() == parameter.flags.size() ? "all" : joined(names, "+");
  }
  return parameter.hexadecimal ? fmt::format("0x{:X}", value) : std::to_string(value);
}

std::string describe(const Bits &bits) {
  if (bits.whole())
    return {};
  return bits.least == bits.most ? fmt::format("bit {}", bits.least) : fmt::format("bits {}-{}", bits.least, bits.most);
}

std::string place_of(const Parameter &parameter) {
  const std::string bits = describe(parameter.bits);
  return fmt::format("_PARA[{}]{}{}", parameter.word, bits.empty() ? "" : " ", bits);
}

}  // namespace engine
