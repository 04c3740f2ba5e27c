#include "engine/plan/checkpoint.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "engine/text/error.hpp"
#include "engine/text/file.hpp"
#include "engine/text/words.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view HEADING = "mcrhost checkpoint 2 ";
constexpr std::size_t DIGEST_LENGTH = 16;

/// Tells texts apart that differ by mistake: FNV-1a with 64 bits, in hexadecimal.
std::string digest_of(std::string_view text) {
  std::uint64_t digest = 0xCBF29CE484222325;
  for (const char c : text)
    digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return fmt::format("{:016X}", digest);
}

std::string json_line(const Json &json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// Plan, machine and number of runs, so that a result means the same run again.
std::string identity_of(const Plan &plan, const MachineInfo &machine, std::span<const scdb::Chip> chips) {
  Json names = Json::array();
  for (const scdb::Chip chip : chips)
    names.push_back(scdb::to_string(chip));
  return json_line({{"plan", {{"name", plan.name}, {"digest", digest_of(plan.source)}, {"cases", plan.cases()}}},
                    {"machine", {{"name", machine.name}, {"simulated", machine.simulated}, {"chips", names}}}});
}

}  // namespace

Checkpoint::Checkpoint(std::string path, const Plan &plan, Bench &bench)
    : path_{std::move(path)}, bench_{bench}, identity_{identity_of(plan, bench.machine_info(), bench.chips())} {}

void Checkpoint::refuse(const Wording &why) const {
  throw InputError{Subject::checkpoint, why.behind(fmt::format("'{}' ", path_))};
}

void Checkpoint::load() {
  const std::string text = read_file(path_, Subject::checkpoint);
  const std::size_t begin = HEADING.size() + DIGEST_LENGTH + 1;
  if (!text.starts_with(HEADING))
    refuse("is no checkpoint of a plan");
  if (text.size() < begin || text[begin - 1] != '\n'
      || text.substr(HEADING.size(), DIGEST_LENGTH) != digest_of(text.substr(begin)))
    refuse("is damaged");
  std::vector<std::string_view> lines = split(std::string_view{text}.substr(begin), '\n');
  if (lines.size() < 3)
    refuse("is damaged");
  try {
    const Json identity = Json::parse(lines.front());
    const Json own = Json::parse(identity_);
    if (identity.at("plan") != own.at("plan"))
      refuse({fmt::format("is of another plan, '{}', or of another version of this one; begin again without ",
                          identity.at("plan").at("name").get<std::string>()),
              Subject::resume});
    if (identity.at("machine") != own.at("machine"))
      refuse(fmt::format("is of another machine, {}", identity.at("machine").at("name").get<std::string>()));
    for (std::size_t i = 1; i + 2 < lines.size(); ++i) {
      results_.push_back(case_of(Json::parse(lines[i])));
      lines_ += fmt::format("{}\n", lines[i]);
    }
    const Json state = Json::parse(lines[lines.size() - 2]);
    if (state.contains("state")) {
      bench_.machine().load_state(state["state"].get<std::string>());
      // What is kept for them belongs to the state of before.
      scdb::forget_open_rings();
    }
  } catch (const scdb::MachineError &error) {
    refuse(fmt::format("is of another machine: {}", error.what()));
  } catch (const nlohmann::json::exception &) {
    refuse("is damaged");
  } catch (const std::out_of_range &) {
    refuse("is damaged");
  }
}

void Checkpoint::add(const CaseResult &result) {
  results_.push_back(result);
  lines_ += json_line(json_of(result));
  if (scdb::open_rings().empty())
    write();
}

void Checkpoint::write() const {
  Json end = Json::object();
  if (const std::optional<std::string> state = bench_.machine().save_state())
    end["state"] = *state;
  const std::string body = identity_ + lines_ + json_line(end);
  write_file(path_, fmt::format("{}{}\n{}", HEADING, digest_of(body), body), Subject::checkpoint);
}

}  // namespace engine
