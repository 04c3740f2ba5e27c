#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "engine/report/run_report.hpp"
#include "engine/run/explain.hpp"
#include "engine/text/words.hpp"
#include "scdb/record.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

Json json_of(std::span<const macro_word> words) {
  Json list = Json::array();
  for (const macro_word word : words)
    list.push_back(hex(word));
  return list;
}

Json json_of(const std::optional<macro_word> &word) {
  return word ? Json(hex(*word)) : Json(nullptr);
}

Json json_of(DataView words) {
  Json list = Json::array();
  for (const std::optional<macro_word> &word : words)
    list.push_back(json_of(word));
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

Json json_of_record(std::span<const macro_word> record, const MacroEntry *entry) {
  const std::optional<scdb::Failure> failure = scdb::read_failure(record);
  Json meanings = Json::array();
  for (const RecordWord &word : explain_record(record, entry))
    meanings.push_back({{"index", word.index}, {"word", hex(word.value)}, {"meaning", word.meaning}});
  return {{"words", json_of(record)},
          {"failure", failure ? engine::json_of(*failure) : Json(nullptr)},
          {"meanings", std::move(meanings)}};
}

/// What the catalogue names in _DATA.
Json json_of_decoded(const std::vector<DecodedBlock> &blocks) {
  Json list = Json::array();
  for (const DecodedBlock &block : blocks)
    for (std::size_t i = 0; i < block.size(); ++i) {
      const DecodedRecord record = block[i];
      Json words = Json::array();
      for (std::size_t word = 0; word < record.size(); ++word)
        words.push_back(json_of(record.word(word)));
      Json fields = Json::object();
      for (const DataField &field : block.layout().fields) {
        const std::optional<std::uint64_t> value = record.value(field);
        fields[field.name] = value ? Json{{"value", *value}, {"text", field_text(field, *value)}} : Json(nullptr);
      }
      list.push_back({{"name", record.name()},
                      {"start", record.start()},
                      {"words", std::move(words)},
                      {"fields", std::move(fields)}});
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

Json json_of(const scdb::Failure &failure) {
  const scdb::Outcome &outcome = failure.outcome;
  return {{"class", scdb::title_of(scdb::class_of(outcome.reason))},
          {"primitive", scdb::name_of(failure.primitive)},
          {"code", hex(failure.code)},
          {"chip", outcome.placed ? Json(scdb::to_string(outcome.place)) : Json(nullptr)},
          {"reason", scdb::title_of(outcome.reason)},
          {"text", scdb::describe(failure)}};
}

Json json_report(const FinishedRun &finished) {
  const auto &[request, run, judgement, machine] = finished;
  Json underruns = Json::array();
  for (const Breach &underrun : run.underruns)
    underruns.push_back(json_of(underrun));
  Json rings = Json::array();
  for (const RingLeft &left : run.rings)
    rings.push_back({{"chip", scdb::to_string(left.ring.chip)},
                     {"ring", fmt::format("0x{:02X}", left.ring.ring)},
                     {"fate", name_of(left.fate)}});
  return {{"macro", request.macro->name},
          {"identification", request.macro->identification},
          {"library", request.macro->library},
          {"machine", json_of(machine)},
          {"unit", json_of(request.unit)},
          {"rw", hex(request.rw)},
          {"para", json_of(request.para)},
          {"ok", judgement.verdict == Verdict::pass || judgement.verdict == Verdict::finding},
          {"verdict", name_of(judgement.verdict)},
          {"outcome", name_of(judgement.conclusion)},
          {"failures", judgement.failures},
          {"findings", judgement.findings},
          {"mismatches", judgement.mismatches},
          {"notes", judgement.notes},
          {"return", hex(run.status)},
          {"result", run.result ? Json(*run.result) : Json(nullptr)},
          {"calls", run.calls},
          {"data", json_of(DataView{run.data})},
          {"decoded", json_of_decoded(judgement.decoded)},
          {"record", json_of_record(run.record, request.entry.get())},
          {"crash", run.crash ? json_of(*run.crash) : Json(nullptr)},
          {"stopped", run.stop ? Json{{"by", run.stop->by}, {"call", run.stop->call}} : Json(nullptr)},
          {"underruns", std::move(underruns)},
          {"open_rings", std::move(rings)}};
}

Json json_of(const Comparison &comparison) {
  Json json{{"words", comparison.words}, {"differing", comparison.differing}, {"first", nullptr}};
  if (const auto &first = comparison.first)
    json["first"] = {{"index", first->index},
                     {"is", json_of(first->is)},
                     {"expected", hex(first->expected)},
                     {"mask", hex(first->mask)}};
  return json;
}

}  // namespace engine
