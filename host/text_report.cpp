#include <fmt/format.h>

#include <algorithm>

#include "explain.hpp"
#include "report.hpp"
#include "scdb/record.hpp"
#include "words.hpp"

namespace host {
namespace {

constexpr std::size_t WORDS_A_ROW = 4;
constexpr std::string_view NOT_WRITTEN = "  --------";

std::string name_of_direction(macro_word rw) {
  switch (rw) {
    case RW_READ:
      return "read";
    case RW_WRITE:
      return "write";
    case RW_NONE:
      return "no direction";
    default:
      return fmt::format("rw {}", hex(rw));
  }
}

std::string rows_of(const std::vector<std::optional<macro_word>> &data) {
  std::string rows;
  for (std::size_t i = 0; i < data.size(); ++i) {
    if (i % WORDS_A_ROW == 0)
      rows += fmt::format("{}{:6}", i == 0 ? "" : "\n", i);
    rows += fmt::format("  {}", data[i] ? hex(*data[i]) : NOT_WRITTEN);
  }
  return rows.empty() ? rows : rows + "\n";
}

std::string record_of(const RunResult &run) {
  std::string lines;
  for (const RecordWord &word : explain_record(run.record))
    lines += fmt::format("  record {:2}  {}{}{}\n", word.index, hex(word.value), word.meaning.empty() ? "" : "  ",
                         word.meaning);
  return lines;
}

std::string open_rings_of(const RunResult &run) {
  std::string rings;
  for (const scdb::OpenRing &open : run.open_rings)
    rings += fmt::format("{} {} ring 0x{:02X}", rings.empty() ? "" : ",", scdb::to_string(open.chip), open.ring);
  return rings.empty() ? rings : fmt::format("rings left open:{}\n", rings);
}

std::string count_of(std::size_t count, std::string_view what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string verdict_of(const RunResult &run) {
  const auto written = static_cast<std::size_t>(
      std::ranges::count_if(run.data, [](const std::optional<macro_word> &word) { return word.has_value(); }));
  if (run.ok())
    return fmt::format("ok: {}, {}\n", count_of(written, "data word"), count_of(run.calls, "primitive call"));
  std::string verdict;
  for (const std::string &failure : failures_of(run))
    verdict += fmt::format("failed: {}\n", failure);
  return verdict;
}

}  // namespace

std::string label_of(const MachineInfo &machine) {
  return machine.name + (machine.simulated ? " (simulated)" : "");
}

std::string text_report(const RunRequest &request, const RunResult &run) {
  return fmt::format("{}  {}  {}  on {}\n", request.macro->name, describe(request.unit.words()),
                     name_of_direction(request.rw), label_of(run.machine))
         + rows_of(run.data) + verdict_of(run) + record_of(run) + open_rings_of(run);
}

}  // namespace host
