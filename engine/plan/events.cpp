#include "engine/plan/events.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

/// A key without a value is left out.
void add(Json &json, const char *key, const std::string &text) {
  if (!text.empty())
    json[key] = text;
}
void add(Json &json, const char *key, const std::vector<std::string> &sentences) {
  if (!sentences.empty())
    json[key] = sentences;
}

Json json_of(const MeasuredValue &value) {
  Json json{{"name", value.name}};
  if (value.number)
    json["value"] = *value.number;
  json["text"] = value.text;
  if (value.expected) {
    Json expected{{"text", value.expected->text}, {"holds", value.expected->holds}};
    if (value.expected->number)
      expected["value"] = *value.expected->number;
    json["expected"] = std::move(expected);
  }
  return json;
}

std::optional<std::uint64_t> number_in(const Json &json) {
  return json.contains("value") ? std::optional{json["value"].get<std::uint64_t>()} : std::nullopt;
}

MeasuredValue value_of(const Json &json) {
  MeasuredValue value{json.at("name"), number_in(json), json.at("text"), {}};
  if (json.contains("expected")) {
    const Json &expected = json["expected"];
    value.expected = MeasuredValue::Expected{number_in(expected), expected.at("text"), expected.at("holds")};
  }
  return value;
}

Instant instant_in(const Json &json, const char *key) {
  return Instant{std::chrono::microseconds{json.at(key).get<std::int64_t>()}};
}

}  // namespace

Instant now() {
  return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
}

std::string time_text(Instant instant) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(instant);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(seconds)),
                     (instant - seconds).count());
}

double seconds_between(Instant begin, Instant end) {
  return std::chrono::duration<double>(end - begin).count();
}

Json json_of(const CaseResult &result) {
  Json json{{"step", result.step}, {"unit", result.unit}};
  add(json, "values", result.values);
  json["outcome"] = name_of(result.conclusion);
  json["verdict"] = name_of(result.verdict);
  add(json, "failures", result.failures);
  add(json, "findings", result.findings);
  add(json, "mismatches", result.mismatches);
  add(json, "notes", result.notes);
  if (!result.measured.empty()) {
    Json measured = Json::array();
    for (const MeasuredValue &value : result.measured)
      measured.push_back(json_of(value));
    json["measured"] = std::move(measured);
  }
  add(json, "place", result.place);
  json["runs"] = result.runs;
  json["calls"] = result.calls;
  json["begin"] = result.begin.time_since_epoch().count();
  json["end"] = result.end.time_since_epoch().count();
  return json;
}

CaseResult case_of(const Json &json) {
  CaseResult result;
  result.step = json.at("step");
  result.unit = json.at("unit");
  result.values = json.value("values", "");
  const std::optional<Conclusion> conclusion = conclusion_named(json.at("outcome").get<std::string>());
  const std::optional<Verdict> verdict = verdict_named(json.at("verdict").get<std::string>());
  ;
  if (!conclusion || !verdict)
    throw std::out_of_range("no such outcome");
  result.conclusion = *conclusion;
  result.verdict = *verdict;
  result.failures = json.value("failures", std::vector<std::string>{});
  result.findings = json.value("findings", std::vector<std::string>{});
  result.mismatches = json.value("mismatches", std::vector<std::string>{});
  result.notes = json.value("notes", std::vector<std::string>{});
  if (json.contains("measured"))
    for (const Json &value : json["measured"])
      result.measured.push_back(value_of(value));
  result.place = json.value("place", "");
  result.runs = json.at("runs");
  result.calls = json.at("calls");
  result.begin = instant_in(json, "begin");
  result.end = instant_in(json, "end");
  return result;
}

}  // namespace engine
