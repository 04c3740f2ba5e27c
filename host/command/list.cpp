#include <fmt/format.h>
#include <fnmatch.h>

#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "engine/catalogue/catalogue.hpp"
#include "engine/report/run_report.hpp"
#include "engine/run/library.hpp"
#include "engine/unit/chips.hpp"
#include "host/command/commands.hpp"
#include "host/command/output.hpp"

namespace host {
namespace {

struct ListOptions {
  CommonOptions common;
  std::string pattern;
  std::vector<std::string> kinds;
};

/// A macro as both forms of the list show it.
struct Row {
  const scdb::Macro *macro = nullptr;
  scdb::ChipKind kind{};
  scdb::Identification identification;  ///< empty fields where the macro has none
  std::string title;                    ///< empty where the catalogue has no entry
};

std::map<std::string, std::string, std::less<>> titles(const Catalogue &catalogue) {
  std::map<std::string, std::string, std::less<>> titles;
  for (const std::shared_ptr<const Family> &family : catalogue.families())
    for (const MacroEntry &entry : family->macros)
      titles.emplace(entry.name, entry.title);
  return titles;
}

std::vector<Row> all_rows(std::span<const scdb::Macro> macros, const Catalogue &catalogue) {
  const auto known = titles(catalogue);
  std::vector<Row> rows;
  for (const scdb::Macro &macro : macros) {
    const auto title = known.find(macro.name);
    rows.push_back({&macro, kind_of(macro),
                    scdb::parse_identification(macro.identification).value_or(scdb::Identification{}),
                    title == known.end() ? std::string{} : title->second});
  }
  return rows;
}

/// Whether a pattern means a macro: its whole name or number with * and ? in the pattern, else a part of its name or
/// title; upper and lower case are alike.
bool matches(const std::string &pattern, const Row &row) {
  const auto fits = [&pattern](const std::string &text) {
    const bool whole = pattern.find_first_of("*?") != std::string::npos;
    return ::fnmatch((whole ? pattern : "*" + pattern + "*").c_str(), text.c_str(), FNM_CASEFOLD | FNM_NOESCAPE) == 0;
  };
  return fits(row.macro->name) || fits(fmt::format("0x{:04X}", row.macro->number))
         || fits(fmt::format("{:04X}", row.macro->number)) || fits(row.title);
}

std::vector<scdb::ChipKind> wanted_kinds(const std::vector<std::string> &names) {
  std::vector<scdb::ChipKind> kinds;
  for (const std::string &name : names) {
    const std::optional<scdb::ChipKind> kind = scdb::kind_named(name);
    if (!kind)
      throw InputError(fmt::format("--unit-kind: '{}' is no kind of unit; the kinds are {}", name, kinds_of_units()));
    kinds.push_back(*kind);
  }
  return kinds;
}

std::vector<Row> rows(const ListOptions &options, BenchInUse &bench) {
  const std::vector<scdb::ChipKind> kinds = wanted_kinds(options.kinds);
  std::vector<Row> rows = all_rows(bench->macros(), bench.catalogue());
  std::erase_if(rows, [&](const Row &row) {
    return (!kinds.empty() && std::ranges::find(kinds, row.kind) == kinds.end())
           || (!options.pattern.empty() && !matches(options.pattern, row));
  });
  if (rows.empty() && (!kinds.empty() || !options.pattern.empty()))
    throw InputError(fmt::format("no macro{} matches{}; 'mcrhost list' shows those there are",
                                 kinds.empty() ? "" : " of this kind",
                                 options.pattern.empty() ? "" : fmt::format(" '{}'", options.pattern)));
  return rows;
}

std::string text_list(const std::vector<Row> &rows, const MachineInfo &machine) {
  constexpr std::string_view COLUMNS = "{:14}{:6}{:8}{:10}{:12}{}\n";
  std::string text = fmt::format(COLUMNS, "MACRO", "UNIT", "NUMBER", "REVISION", "DATE", "TITLE");
  for (const Row &row : rows)
    text += fmt::format(
        COLUMNS, row.macro->name, scdb::info(row.kind).name, fmt::format("0x{:04X}", row.macro->number),
        row.identification.revision, row.identification.date,
        row.title.empty() ? "of " + std::filesystem::path(row.macro->library).filename().string() : row.title);
  return text
         + fmt::format("{} {}, machine {}\n", rows.size(), rows.size() == 1 ? "macro" : "macros", label_of(machine));
}

nlohmann::ordered_json json_list(const std::vector<Row> &rows, const MachineInfo &machine) {
  nlohmann::ordered_json macros = nlohmann::ordered_json::array();
  for (const Row &row : rows)
    macros.push_back({{"name", row.macro->name},
                      {"unit", scdb::info(row.kind).name},
                      {"number", fmt::format("0x{:04X}", row.macro->number)},
                      {"title", row.title},
                      {"revision", row.identification.revision},
                      {"date", row.identification.date},
                      {"time", row.identification.time},
                      {"library", row.macro->library}});
  return {{"machine", json_of(machine)}, {"macros", std::move(macros)}};
}

ExitStatus list(const ListOptions &options) {
  BenchInUse bench{options.common};
  const MachineInfo &machine = bench->machine_info();
  const std::vector<Row> shown = rows(options, bench);
  write_output(options.common.json ? json_list(shown, machine).dump(2) + "\n" : text_list(shown, machine));
  return ExitStatus::ok;
}

}  // namespace

void add_list(Command &program, Action &action) {
  Command *const command = program.add_command(
      "list", {.summary = "List the macros of the macro library",
               .examples = {"mcrhost list", "mcrhost list tag", "mcrhost list 'cp_9AC*'",
                            "mcrhost list --unit-kind sc,xb", "mcrhost list --json --library ./libmymacros.so"}});
  const auto options = std::make_shared<ListOptions>();
  command->add("PATTERN", options->pattern, Takes::text,
               "Show only macros with this in their name, number or title; with * and ? those it fits as a whole");
  command
      ->add("--unit-kind", options->kinds, Takes::kind_of_chip,
            fmt::format("Show only macros of these kinds: {}", kinds_of_units()))
      ->delimiter(',');
  add_catalogue_option(*command, options->common);
  add_common_options(*command, options->common);
  command->callback([options, &action] { action = [options] { return list(*options); }; });
}

}  // namespace host
