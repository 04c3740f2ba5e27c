#include <fmt/format.h>

#include <algorithm>

#include "engine/catalogue/decode.hpp"
#include "engine/run/explain.hpp"
#include "engine/report/run_report.hpp"
#include "scdb/record.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

/// Of an array that is bad altogether, the first ones say enough.
constexpr std::size_t FINDINGS_SHOWN = 16;
constexpr std::string_view NOT_WRITTEN = "  --------";

std::string name_of_direction(const MacroEntry *entry, macro_word rw) {
  if (entry != nullptr)
    if (const Direction *const direction = entry->direction(rw))
      return direction->name;
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

/// Lines of words below one another, the first with a name.
std::string lines_of_words(std::string_view name, std::size_t width,
                           const std::vector<std::optional<macro_word>> &words) {
  std::string lines;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i % WORDS_A_ROW == 0)
      lines += fmt::format("{}  {:{}}", i == 0 ? "" : "\n", i == 0 ? name : "", width);
    lines += fmt::format("  {}", words[i] ? hex(*words[i]) : NOT_WRITTEN.substr(2));
  }
  return lines + "\n";
}

std::string value_text(const DecodedField &field) {
  return field.value ? text_of(*field.field, *field.value) : std::string{"not written"};
}

/// Whether a block's words need no more than the name of the first in a row.
bool is_plain_run(const DecodedBlock &block) {
  return block.block->fields.empty() && block.block->labels.empty() && block.records.size() > 1
         && std::ranges::all_of(block.records, [](const DecodedRecord &record) { return record.words.size() == 1; });
}
/// Whether a block is a single record, whose fields have a line each.
bool is_single(const DecodedBlock &block) {
  return block.records.size() == 1 && !block.block->fields.empty() && block.records.front().name == block.block->name;
}

std::string lines_of(const DecodedBlock &block, std::size_t width) {
  std::string lines;
  if (is_plain_run(block)) {
    for (std::size_t i = 0; i < block.records.size(); i += WORDS_A_ROW) {
      std::vector<std::optional<macro_word>> row;
      for (std::size_t at = i; at < std::min(i + WORDS_A_ROW, block.records.size()); ++at)
        row.push_back(block.records[at].words.front());
      lines += lines_of_words(block.records[i].name, width, row);
    }
    return lines;
  }
  if (is_single(block)) {
    for (const DecodedField &field : block.records.front().fields)
      lines += fmt::format("  {:{}}  {}\n", field.field->name, width, value_text(field));
    return lines;
  }
  for (const DecodedRecord &record : block.records) {
    if (record.fields.empty()) {
      lines += lines_of_words(record.name, width, record.words);
      continue;
    }
    lines += fmt::format("  {:{}}", record.name, width);
    for (const DecodedField &field : record.fields)
      lines += fmt::format("  {} {}", field.field->name, value_text(field));
    lines += "\n";
  }
  return lines;
}

std::size_t width_of(const std::vector<DecodedBlock> &blocks) {
  std::size_t width = 0;
  for (const DecodedBlock &block : blocks) {
    for (const DecodedRecord &record : block.records)
      if (!is_single(block))
        width = std::max(width, record.name.size());
    if (is_single(block))
      for (const DataField &field : block.block->fields)
        width = std::max(width, field.name.size());
  }
  return width;
}

/// The words that no block shows, as rows; empty when there are none.
std::string rows_of_others(std::vector<std::optional<macro_word>> data, const std::vector<DecodedBlock> &blocks) {
  for (const DecodedBlock &block : blocks)
    for (const DecodedRecord &record : block.records)
      for (std::size_t i = 0; i < record.words.size() && record.start + i < data.size(); ++i)
        data[record.start + i].reset();
  while (!data.empty() && !data.back())
    data.pop_back();
  return data.empty() ? std::string{} : fmt::format("words that the catalogue does not name:\n{}", rows_of(data));
}

std::string decoded_data(const RunRequest &request, const RunResult &run) {
  if (!request.entry)
    return rows_of(run.data);
  const std::vector<DecodedBlock> blocks = decode({*request.entry, request.rw, request.para}, run.data);
  if (blocks.empty())
    return rows_of(run.data);
  const std::size_t width = width_of(blocks);
  std::string lines;
  for (const DecodedBlock &block : blocks)
    lines += lines_of(block, width);
  return lines + rows_of_others(run.data, blocks);
}

std::string record_of(const RunRequest &request, const RunResult &run) {
  std::string lines;
  for (const RecordWord &word : explain_record(run.record, request.entry.get()))
    lines += fmt::format("  record {:2}  {}{}{}\n", word.index, hex(word.value), word.meaning.empty() ? "" : "  ",
                         word.meaning);
  return lines;
}

std::string names_of(const std::vector<scdb::OpenRing> &rings) {
  std::string names;
  for (const scdb::OpenRing &open : rings)
    names += fmt::format("{}{} ring 0x{:02X}", names.empty() ? "" : ", ", scdb::to_string(open.chip), open.ring);
  return names;
}

std::string open_rings_of(const RunResult &run) {
  if (run.open_rings.empty())
    return {};
  std::string text = fmt::format("rings left open: {}\n", names_of(run.open_rings));
  if (!run.restoration)
    text += "not restored; with --restore-open-rings what they held is put back\n";
  else if (run.restoration->outcome.ok())
    text += "restored: they hold again what they held before\n";
  else
    text += fmt::format("not restored: {}: {}\n", names_of(run.restoration->still_open),
                        scdb::title_of(run.restoration->outcome.reason));
  return text;
}

std::string verdict_lines(const RunRequest &request, const RunResult &run) {
  std::string verdict;
  for (const std::string &failure : failures_of(run, request.entry.get()))
    verdict += fmt::format("failed: {}\n", failure);
  if (!run.ok())
    return verdict;
  const std::vector<std::string> findings = findings_of(request, run);
  for (std::size_t i = 0; i < std::min(findings.size(), FINDINGS_SHOWN); ++i)
    verdict += fmt::format("found: {}\n", findings[i]);
  if (findings.size() > FINDINGS_SHOWN)
    verdict += fmt::format("found: {} more\n", findings.size() - FINDINGS_SHOWN);
  const auto written = static_cast<std::size_t>(
      std::ranges::count_if(run.data, [](const std::optional<macro_word> &word) { return word.has_value(); }));
  return verdict
         + fmt::format("{}: {}, {}\n", findings.empty() ? "ok" : count_of(findings.size(), "finding"),
                       count_of(written, "data word"), count_of(run.calls, "primitive call"));
}

}  // namespace

std::string label_of(const MachineInfo &machine) {
  return machine.name + (machine.simulated ? " (simulated)" : "");
}

std::vector<std::string> findings_of(const RunRequest &request, const RunResult &run) {
  if (!run.ok() || !request.entry)
    return {};
  return findings_of({*request.entry, request.rw, request.para}, run.data);
}

std::string text_report(const RunRequest &request, const RunResult &run, bool words_only) {
  return fmt::format("{}  {}  {}  on {}\n", request.macro->name, describe(request.unit.words()),
                     name_of_direction(request.entry.get(), request.rw), label_of(run.machine))
         + (words_only ? rows_of(run.data) : decoded_data(request, run)) + verdict_lines(request, run)
         + record_of(request, run) + open_rings_of(run);
}

}  // namespace engine
