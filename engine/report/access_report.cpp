#include "engine/report/access_report.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "engine/report/run_report.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

using Json = nlohmann::ordered_json;

/// A chip's words: on its line where they are few, else in rows below it, each with the index of its first word.
std::string lines_of_answer(const Answer &answer) {
  if (answer.words.empty())
    return fmt::format("  {}\n", answer.done);
  std::string text;
  for (std::size_t i = 0; i < answer.words.size(); ++i)
    if (!answer.names.empty())
      text += fmt::format("\n  {:<12}{}", answer.names[i], hex(answer.words[i]));
    else if (answer.words.size() > WORDS_A_ROW && i % WORDS_A_ROW == 0)
      text += fmt::format("\n{:6}  {}", i, hex(answer.words[i]));
    else
      text += "  " + hex(answer.words[i]);
  return text + "\n";
}

}  // namespace

std::string access_report(const std::string &title, const AccessResult &result, const MachineInfo &machine) {
  std::string text = fmt::format("{}  on {}\n", title, label_of(machine));
  for (const ChipResult &chip : result.chips)
    text +=
        scdb::to_string(chip.chip)
        + (chip.failure ? fmt::format("  failure: {}\n", scdb::describe(*chip.failure)) : lines_of_answer(chip.answer));
  return result.stop.empty() ? text : text + result.stop + "\n";
}

Json json_access_report(const std::string &title, const AccessResult &result, const MachineInfo &machine) {
  Json chips = Json::array();
  for (const ChipResult &row : result.chips) {
    Json words = Json::array();
    if (!row.failure)
      for (const macro_word word : row.answer.words)
        words.push_back(hex(word));
    Json chip{{"chip", scdb::to_string(row.chip)}, {"ok", !row.failure}, {"words", std::move(words)}};
    if (!row.answer.names.empty())
      chip["names"] = row.answer.names;
    chip["failure"] = row.failure ? json_of(*row.failure) : Json(nullptr);
    chips.push_back(std::move(chip));
  }
  return {{"access", title},
          {"machine", json_of(machine)},
          {"ok", result.all_went_well()},
          {"stopped", result.stop.empty() ? Json(nullptr) : Json(result.stop)},
          {"chips", std::move(chips)}};
}

}  // namespace engine
