#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "engine/catalogue/decode.hpp"
#include "engine/run/explain.hpp"
#include "engine/report/run_report.hpp"
#include "scdb/record.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

Json json_of(std::span<const macro_word> words) {
  Json list = Json::array();
  for (const macro_word word : words)
    list.push_back(hex(word));
  return list;
}

Json json_of(const std::vector<std::optional<macro_word>> &words) {
  Json list = Json::array();
  for (const std::optional<macro_word> &word : words)
    list.push_back(word ? Json(hex(*word)) : Json(nullptr));
  return list;
}

Json json_of(const Breach &breach) {
  return {{"area", breach.area},
          {"index", breach.index},
          {"size", breach.size},
          {"access", name_of(breach.access)},
          {"text", describe(breach)}};
}

Json json_of(const Crash &crash) {
  Json json{{"signal", title_of_signal(crash.fault.signal)},
            {"breach", crash.breach ? json_of(*crash.breach) : Json(nullptr)},
            {"address", nullptr},
            {"call", nullptr}};
  if (crash.fault.address)
    json["address"] = fmt::format("0x{:X}", *crash.fault.address);
  if (crash.position.number != 0)
    json["call"] = {{"number", crash.position.number},
                    {"primitive", scdb::name_of(crash.position.primitive)},
                    {"finished", crash.position.finished}};
  return json;
}

/// What the primitive that failed says, or nothing.
Json json_of_failure(std::span<const macro_word> record) {
  const std::optional<scdb::Failure> failure = scdb::read_failure(record);
  if (!failure)
    return nullptr;
  const scdb::Outcome &outcome = failure->outcome;
  return {{"class", scdb::title_of(scdb::class_of(outcome.reason))},
          {"primitive", scdb::name_of(failure->primitive)},
          {"code", hex(failure->code)},
          {"chip", outcome.placed ? Json(scdb::to_string(outcome.place)) : Json(nullptr)},
          {"reason", scdb::title_of(outcome.reason)}};
}

Json json_of_record(std::span<const macro_word> record, const MacroEntry *entry) {
  Json meanings = Json::array();
  for (const RecordWord &word : explain_record(record, entry))
    meanings.push_back({{"index", word.index}, {"word", hex(word.value)}, {"meaning", word.meaning}});
  return {{"words", json_of(record)}, {"failure", json_of_failure(record)}, {"meanings", std::move(meanings)}};
}

/// What the catalogue names in _DATA.
Json json_of_decoded(const RunRequest &request, const RunResult &run) {
  Json list = Json::array();
  if (!request.entry)
    return list;
  for (const DecodedBlock &block : decode({*request.entry, request.rw, request.para}, run.data))
    for (const DecodedRecord &record : block.records) {
      Json fields = Json::object();
      for (const DecodedField &field : record.fields)
        fields[field.field->name] =
            field.value ? Json{{"value", *field.value}, {"text", text_of(*field.field, *field.value)}} : Json(nullptr);
      list.push_back(
          {{"name", record.name}, {"start", record.start}, {"words", json_of(record.words)}, {"fields", fields}});
    }
  return list;
}

Json json_of(const Selection &unit) {
  return {{"name", describe(unit.words())},
          {"type", hex(unit.type)},
          {"number", hex(unit.number)},
          {"mring", json_of(unit.mring)}};
}

}  // namespace

Json json_of(const MachineInfo &machine) {
  return {{"name", machine.name}, {"simulated", machine.simulated}};
}

Json json_report(const RunRequest &request, const RunResult &run) {
  Json underruns = Json::array();
  for (const Breach &underrun : run.underruns)
    underruns.push_back(json_of(underrun));
  Json rings = Json::array();
  for (const scdb::OpenRing &open : run.open_rings) {
    const bool restored =
        run.restoration && std::ranges::find(run.restoration->still_open, open) == run.restoration->still_open.end();
    rings.push_back(
        {{"chip", scdb::to_string(open.chip)}, {"ring", fmt::format("0x{:02X}", open.ring)}, {"restored", restored}});
  }
  const std::vector<std::string> findings = findings_of(request, run);
  return {{"macro", request.macro->name},
          {"identification", request.macro->identification},
          {"library", request.macro->library},
          {"machine", json_of(run.machine)},
          {"unit", json_of(request.unit)},
          {"rw", hex(request.rw)},
          {"para", json_of(request.para)},
          {"ok", run.ok()},
          {"verdict", !run.ok()          ? "failure"
                      : findings.empty() ? "pass"
                                         : "finding"},
          {"failures", failures_of(run, request.entry.get())},
          {"findings", findings},
          {"return", hex(run.status)},
          {"result", run.result ? Json(*run.result) : Json(nullptr)},
          {"calls", run.calls},
          {"data", json_of(run.data)},
          {"decoded", json_of_decoded(request, run)},
          {"record", json_of_record(run.record, request.entry.get())},
          {"crash", run.crash ? json_of(*run.crash) : Json(nullptr)},
          {"stopped", run.stop ? Json{{"by", run.stop->by}, {"call", run.stop->call}} : Json(nullptr)},
          {"underruns", std::move(underruns)},
          {"open_rings", std::move(rings)}};
}

}  // namespace engine
