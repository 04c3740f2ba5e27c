#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "engine/report/entry_page.hpp"
#include "engine/report/entry_text.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

Json json_of(const std::vector<NamedValue> &values) {
  Json list = Json::array();
  for (const NamedValue &value : values)
    list.push_back({{"value", value.value}, {"name", value.name}, {"title", value.title}});
  return list;
}
Json json_of(const std::vector<Flag> &flags) {
  Json list = Json::array();
  for (const Flag &flag : flags)
    list.push_back({{"bit", flag.bit}, {"name", flag.name}, {"title", flag.title}});
  return list;
}
Json json_of(const Bits &bits) {
  return {{"least", bits.least}, {"most", bits.most}};
}
Json json_of(const std::vector<Condition> &conditions) {
  Json list = Json::array();
  for (const Condition &condition : conditions)
    list.push_back({{"parameter", condition.parameter}, {"values", condition.values}, {"flags", condition.flags}});
  return list;
}
template <class Value>
Json or_null(const std::optional<Value> &value) {
  return value ? Json(*value) : Json(nullptr);
}
Json json_of(const Parameter &parameter) {
  return {
      {"name", parameter.name},
      {"title", parameter.title},
      {"word", parameter.word},
      {"bits", json_of(parameter.bits)},
      {"range", parameter.range ? Json{parameter.range->first.text(), parameter.range->second.text()} : Json(nullptr)},
      {"values", json_of(parameter.values)},
      {"flags", json_of(parameter.flags)},
      {"default", or_null(parameter.value_if_missing)},
      {"refused", or_null(parameter.refused)},
      {"calls", parameter.calls ? Json{{"rw", static_cast<std::int32_t>(parameter.calls->rw)},
                                       {"data_words", parameter.calls->data_words}}
                                : Json(nullptr)},
      {"directions", parameter.directions},
      {"when", json_of(parameter.when)}};
}
Json json_of(const DataBlock &block) {
  Json fields = Json::array();
  for (const DataField &field : block.fields) {
    Json parts = Json::array();
    for (const DataField::Piece &piece : field.pieces)
      parts.push_back({{"word", piece.word}, {"bits", json_of(piece.bits)}});
    fields.push_back({{"name", field.name},
                      {"title", field.title},
                      {"parts", std::move(parts)},
                      {"values", json_of(field.values)},
                      {"flags", json_of(field.flags)}});
  }
  return {{"name", block.name},          {"title", block.title},           {"role", block.input ? "input" : "result"},
          {"optional", block.optional},  {"start", block.start.text()},    {"size", block.size.text()},
          {"count", block.count.text()}, {"directions", block.directions}, {"when", json_of(block.when)},
          {"fields", std::move(fields)}};
}
Json json_of(const MacroDirection &direction) {
  return {{"rw", static_cast<std::int32_t>(direction.rw)}, {"name", direction.name}, {"title", direction.title}};
}
Json json_of(const Refusal &refusal) {
  return {{"subcode", refusal.subcode}, {"title", refusal.title}};
}
Json json_of(const FindingRule &rule) {
  return {{"title", rule.title}, {"directions", rule.directions}, {"when", json_of(rule.when)}};
}
Json json_of(const AccessCount &row) {
  return {{"count", row.count.text()}, {"directions", row.directions}, {"when", json_of(row.when)}};
}

template <class Row>
Json list_of(const std::vector<Row> &rows) {
  Json list = Json::array();
  for (const Row &row : rows)
    list.push_back(json_of(row));
  return list;
}

/// The macros that are called, by number, with the name of the one that answers to it.
Json json_of_calls(const std::vector<unsigned> &numbers) {
  Json list = Json::array();
  for (const unsigned number : numbers) {
    const scdb::Macro *const macro = scdb::find_macro(number);
    list.push_back(
        {{"number", fmt::format("0x{:04X}", number)}, {"name", macro != nullptr ? Json(macro->name) : Json(nullptr)}});
  }
  return list;
}

Json json_of(const When &when) {
  if (when.always)
    return "always";
  return when.never() ? Json("never") : Json(when.directions);
}

}  // namespace

nlohmann::ordered_json json_of(const MacroEntry &entry, const scdb::Macro &macro, SubjectName name) {
  const scdb::Identification identification =
      scdb::parse_identification(macro.identification).value_or(scdb::Identification{});
  return {{"name", entry.name},
          {"number", fmt::format("0x{:04X}", macro.number)},
          {"revision", identification.revision},
          {"date", identification.date},
          {"family", entry.family},
          {"family_title", entry.family_title},
          {"unit", scdb::info(entry.unit).name},
          {"unit_title", scdb::info(entry.unit).title},
          {"title", entry.title},
          {"text", entry.text},
          {"changes", json_of(entry.changes)},
          {"together", json_of(entry.together)},
          {"calls", json_of_calls(entry.calls)},
          {"accesses", list_of(entry.accesses)},
          {"directions", list_of(entry.directions)},
          {"otherwise", entry.otherwise},
          {"parameters", list_of(entry.parameters)},
          {"data", list_of(entry.data)},
          {"errors", list_of(entry.errors)},
          {"findings", list_of(entry.findings)},
          {"example", example_of(entry, name)}};
}

}  // namespace engine
