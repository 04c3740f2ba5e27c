#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "engine/report/plan_reporters.hpp"
#include "engine/text/error.hpp"
#include "engine/text/file.hpp"
#include "scdb/record.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

/// Up to here every whole number is a double, which is what consumers make of numbers.
constexpr std::uint64_t LARGEST_NUMBER = std::uint64_t{1} << 53;

/// How a step or the plan ended.
std::string_view status_of(Conclusion outcome) {
  switch (outcome) {
    case Conclusion::passed:
    case Conclusion::failed:
      return "COMPLETE";
    case Conclusion::error:
      return "ERROR";
    case Conclusion::stopped:
    case Conclusion::skipped:
      break;
  }
  return "SKIP";
}

/// A number where there is one that everybody can read, else a text.
Json value_of(const std::optional<std::uint64_t> &number, const std::string &text) {
  return number && *number <= LARGEST_NUMBER ? Json(*number) : Json(text);
}

std::string message_of(const CaseResult &result) {
  std::vector<std::string> all = result.failures;
  all.insert(all.end(), result.findings.begin(), result.findings.end());
  all.insert(all.end(), result.mismatches.begin(), result.mismatches.end());
  return fmt::format("{}", fmt::join(all, "; "));
}

/// What of the chip a step looks at.
Json subcomponent_of(const PlanVariant &variant) {
  const RunRequest &request = variant.request;
  return {{"type", "ASIC-SUBSYSTEM"}, {"name", request.entry ? request.entry->title : request.macro->name}};
}

class OcptvReporter : public PlanReporter {
 public:
  explicit OcptvReporter(std::string path) : path_{std::move(path)} {}

  [[nodiscard]] bool wants_all_results() const override { return true; }

  void begin(const PlanStart &start) override {
    client_ = start.client;
    add(start.time, "schemaVersion", {{"major", 2}, {"minor", 0}});
    add_to_run(start.time, "testRunStart",
               {{"name", start.plan.name},
                {"version", client_.version},
                {"commandLine", client_.command_line},
                {"parameters", {{"title", start.plan.title}}},
                {"dutInfo", dut_info(start)}});
  }

  void begin_step(const StepStart &start) override {
    step_ = std::to_string(start.index);
    add_to_step(start.time, "testStepStart", {{"name", start.step.name}});
  }

  void add(const PlanStep &step, const PlanVariant &variant, const CaseResult &result) override {
    for (const std::string &note : result.notes)
      add_to_step(result.end, "log", {{"severity", "INFO"}, {"message", in_its_place(result, note)}});
    for (const MeasuredValue &value : result.measured)
      if (value.number)
        add_measurement(variant, result, value);
    if (result.conclusion > Conclusion::failed) {
      add_to_step(result.end, "error",
                  {{"symptom", variant.request.macro->name + "-error"},
                   {"message", in_its_place(result, message_of(result))},
                   {"softwareInfoIds", {client_.name, library_of(variant)}}});
      return;
    }
    if (result.conclusion == Conclusion::passed)
      return diagnose(variant, result, "PASS", "as-expected", fmt::format("{}, as expected", name_of(result.verdict)));
    for (const std::string &failure : result.failures)
      diagnose(variant, result, "FAIL", "failure", failure);
    for (const std::string &finding : result.findings)
      diagnose(variant, result, "FAIL", "finding", finding);
    for (const std::string &mismatch : result.mismatches)
      diagnose(variant, result, "FAIL", "mismatch", mismatch);
    if (message_of(result).empty())
      diagnose(variant, result, "FAIL", "unexpected", reason_of(result.conclusion, result.verdict, step.verdict));
  }

  void end_step(const StepEnd &end) override {
    if (!end.skipped.empty())
      add_to_step(end.time, "log", {{"severity", "INFO"}, {"message", fmt::format("not run: {}", end.skipped)}});
    add_to_step(end.time, "testStepEnd", {{"status", status_of(end.conclusion)}});
  }

  void end(const PlanEnd &end) override {
    if (end.interrupted)
      add_to_run(end.time, "log",
                 {{"severity", "WARNING"},
                  {"message", fmt::format("interrupted: {} of {} runs were made", end.made, end.total)}});
    for (const std::string &note : end.notes)
      add_to_run(end.time, "log", {{"severity", "WARNING"}, {"message", note}});
    // Where a stop was asked for, or a run could not tell, nothing is said of the hardware as a whole.
    const Conclusion outcome = end.conclusion;
    add_to_run(end.time, "testRunEnd",
               {{"status", status_of(outcome)},
                {"result", outcome == Conclusion::passed   ? "PASS"
                           : outcome == Conclusion::failed ? "FAIL"
                                                           : "NOT_APPLICABLE"}});
    write_file(path_, lines_, Subject::ocptv);
  }

 private:
  void add(Instant time, std::string_view artifact, Json content) {
    const Json line{{"sequenceNumber", sequence_++}, {"timestamp", time_text(time)}, {artifact, std::move(content)}};
    lines_ += line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  }
  void add_to_run(Instant time, std::string_view what, Json content) {
    add(time, "testRunArtifact", {{what, std::move(content)}});
  }
  void add_to_step(Instant time, std::string_view what, Json content) {
    add(time, "testStepArtifact", {{"testStepId", step_}, {what, std::move(content)}});
  }

  static std::string library_of(const PlanVariant &variant) {
    return std::filesystem::path{variant.request.macro->library}.filename().string();
  }
  static std::string in_its_place(const CaseResult &result, const std::string &message) {
    return fmt::format("{}{}{}: {}", result.unit, result.values.empty() ? "" : " ", result.values, message);
  }

  /// Every chip, and every group of chips that is tested as one.
  Json dut_info(const PlanStart &start) {
    Json hardware = Json::array();
    for (const scdb::Chip chip : start.chips) {
      const std::string id = scdb::to_string(chip);
      hardware_.insert(id);
      hardware.push_back({{"hardwareInfoId", id},
                          {"name", scdb::info(chip.kind).title},
                          {"location", fmt::format("board {}, chip {}", chip.board, chip.number)}});
    }
    std::set<std::string> libraries;
    for (const PlanStep &step : start.plan.steps) {
      for (const PlanVariant &variant : step.variants)
        libraries.insert(library_of(variant));
      for (const Selection &unit : step.units)
        if (const std::string id = describe(unit.words()); hardware_.insert(id).second)
          hardware.push_back({{"hardwareInfoId", id},
                              {"name", fmt::format("group of {}", scdb::info(*scdb::kind_of(unit.type)).title)}});
    }
    Json software{{{"softwareInfoId", client_.name},
                   {"name", client_.name},
                   {"version", client_.version},
                   {"softwareType", "APPLICATION"}}};
    for (const std::string &library : libraries)
      software.push_back({{"softwareInfoId", library}, {"name", library}, {"softwareType", "APPLICATION"}});
    return {{"dutInfoId", "machine"},
            {"name", start.machine.name},
            {"platformInfos", {{{"info", start.machine.simulated ? "simulated" : "hardware"}}}},
            {"softwareInfos", std::move(software)},
            {"hardwareInfos", std::move(hardware)}};
  }

  /// The chip to look at; what is no chip of the machine stands for the unit.
  [[nodiscard]] std::string hardware_of(const CaseResult &result) const {
    return hardware_.contains(result.place) ? result.place : result.unit;
  }

  void add_measurement(const PlanVariant &variant, const CaseResult &result, const MeasuredValue &value) {
    Json json{{"name", result.values.empty() ? value.name : fmt::format("{} [{}]", value.name, result.values)}};
    const bool in_words = value.expected && !value.expected->number;
    json["value"] = value_of(in_words ? std::nullopt : value.number, value.text);
    if (value.expected)
      json["validators"] = {{{"type", "EQUAL"}, {"value", value_of(value.expected->number, value.expected->text)}}};
    json["hardwareInfoId"] = result.unit;
    json["subcomponent"] = subcomponent_of(variant);
    add_to_step(result.end, "measurement", std::move(json));
  }

  void diagnose(const PlanVariant &variant, const CaseResult &result, std::string_view type, std::string_view verdict,
                const std::string &message) {
    add_to_step(result.end, "diagnosis",
                {{"verdict", fmt::format("{}-{}", variant.request.macro->name, verdict)},
                 {"type", type},
                 {"message", in_its_place(result, message)},
                 {"hardwareInfoId", hardware_of(result)},
                 {"subcomponent", subcomponent_of(variant)}});
  }

  std::string path_;
  ClientInfo client_;
  std::string lines_;
  std::string step_;
  unsigned sequence_ = 0;
  std::set<std::string> hardware_;  ///< identifiers
};

}  // namespace

std::unique_ptr<PlanReporter> make_ocptv_reporter(std::string path) {
  return std::make_unique<OcptvReporter>(std::move(path));
}

}  // namespace engine
