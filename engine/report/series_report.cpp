#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "engine/report/run_report.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

/// In the order in which they are told.
constexpr std::array ORDER{Conclusion::passed, Conclusion::failed, Conclusion::error, Conclusion::stopped,
                           Conclusion::skipped};

/// Units in the form in which they are given, those of one kind as one: "cpu:0.0-1 sc:1.0".
std::string names_of(const std::vector<Selection> &units) {
  std::vector<Selection> joined;
  for (const Selection &unit : units) {
    const auto same = std::ranges::find(joined, unit.type, &Selection::type);
    if (same == joined.end()) {
      joined.push_back(unit);
      continue;
    }
    same->number |= unit.number;
    for (std::size_t board = 0; board < unit.mring.size(); ++board)
      same->mring[board] |= unit.mring[board];
  }
  std::string names;
  for (const Selection &unit : joined)
    names += (names.empty() ? "" : " ") + describe(unit.words());
  return names;
}

/// "lmcr_jtag"; of a ring that was put back without a call, that.
std::string_view name_of_call(const PlannedWrite &write) {
  return write.primitive ? scdb::name_of(*write.primitive) : std::string_view{"restored"};
}

}  // namespace

std::string summary_of(const Tally &tally) {
  std::string text = fmt::format("{} units:", tally.size());
  for (const Conclusion conclusion : ORDER) {
    const std::vector<Selection> &units = tally.units(conclusion);
    if (conclusion == Conclusion::passed)
      text += fmt::format(" {} {}", units.size(), name_of(conclusion));
    else if (!units.empty())
      text += fmt::format(", {} {}: {}", units.size(), name_of(conclusion), names_of(units));
  }
  return text;
}

Json json_of(const Tally &tally) {
  Json json{{"units", tally.size()}};
  for (const Conclusion conclusion : ORDER) {
    Json names = Json::array();
    for (const Selection &unit : tally.units(conclusion))
      names.push_back(describe(unit.words()));
    json[std::string{name_of(conclusion)}] = std::move(names);
  }
  return json;
}

std::string text_of_writes(const std::vector<PlannedWrite> &writes) {
  std::string text;
  for (const PlannedWrite &write : writes) {
    text += fmt::format("  {:<8}  {:<12}  {}", write.where, name_of_call(write), write.what);
    if (write.before)
      text += fmt::format("  {} ->", hex(*write.before));
    for (const macro_word word : write.words)
      text += fmt::format("{}{}", write.before ? " " : "  ", hex(word));
    text += '\n';
  }
  return text;
}

nlohmann::ordered_json json_of(const std::vector<PlannedWrite> &writes) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const PlannedWrite &write : writes) {
    nlohmann::ordered_json words = nlohmann::ordered_json::array();
    for (const macro_word word : write.words)
      words.push_back(hex(word));
    nlohmann::ordered_json row{{"chip", write.where},
                               {"primitive", write.primitive ? Json(scdb::name_of(*write.primitive)) : Json(nullptr)},
                               {"what", write.what},
                               {"words", std::move(words)}};
    if (write.before)
      row["before"] = hex(*write.before);
    list.push_back(std::move(row));
  }
  return list;
}

}  // namespace engine
