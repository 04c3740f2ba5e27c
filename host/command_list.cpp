#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands.hpp"
#include "library.hpp"
#include "output.hpp"
#include "report.hpp"

namespace host {
namespace {

/// A macro as both forms of the list show it.
struct Row {
  const scdb::Macro *macro;
  std::string_view unit;
  scdb::Identification identification;  ///< empty fields where the macro has none
};

std::vector<Row> rows() {
  std::vector<Row> rows;
  for (const scdb::Macro &macro : scdb::macros())
    rows.push_back({&macro, scdb::info(kind_of(macro)).name,
                    scdb::parse_identification(macro.identification).value_or(scdb::Identification{})});
  return rows;
}

std::string text_list(const std::vector<Row> &rows, const MachineInfo &machine) {
  constexpr std::string_view COLUMNS = "{:14}{:6}{:8}{:10}{:12}{}\n";
  std::string text = fmt::format(COLUMNS, "MACRO", "UNIT", "NUMBER", "REVISION", "DATE", "LIBRARY");
  for (const Row &row : rows)
    text += fmt::format(COLUMNS, row.macro->name, row.unit, fmt::format("0x{:04X}", row.macro->number),
                        row.identification.revision, row.identification.date,
                        std::filesystem::path(row.macro->library).filename().string());
  return text
         + fmt::format("{} {}, machine {}\n", rows.size(), rows.size() == 1 ? "macro" : "macros", label_of(machine));
}

nlohmann::ordered_json json_list(const std::vector<Row> &rows, const MachineInfo &machine) {
  nlohmann::ordered_json macros = nlohmann::ordered_json::array();
  for (const Row &row : rows)
    macros.push_back({{"name", row.macro->name},
                      {"unit", row.unit},
                      {"number", fmt::format("0x{:04X}", row.macro->number)},
                      {"revision", row.identification.revision},
                      {"date", row.identification.date},
                      {"time", row.identification.time},
                      {"library", row.macro->library}});
  return {{"machine", json_of(machine)}, {"macros", std::move(macros)}};
}

ExitStatus list(const CommonOptions &options) {
  open(options);
  const MachineInfo machine = current_machine();
  write_output(options.json ? json_list(rows(), machine).dump(2) + "\n" : text_list(rows(), machine));
  return ExitStatus::ok;
}

}  // namespace

void add_list(CLI::App &app, Action &action) {
  CLI::App *const command = app.add_subcommand("list", "List the macros of the macro library");
  const auto options = std::make_shared<CommonOptions>();
  add_common_options(*command, *options);
  command->footer(
      "Examples:\n"
      "  mcrhost list\n"
      "  mcrhost list --json --library ./libmymacros.so");
  command->callback([options, &action] { action = [options] { return list(*options); }; });
}

}  // namespace host
