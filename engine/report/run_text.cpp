#include <fmt/format.h>

#include <algorithm>

#include "engine/report/run_report.hpp"
#include "engine/run/explain.hpp"
#include "engine/text/words.hpp"
#include "scdb/record.hpp"

namespace engine {
namespace {

/// Of an array that is bad altogether, the first ones say enough.
constexpr std::size_t FINDINGS_SHOWN = 16;
constexpr std::string_view NOT_WRITTEN = "--------";
/// In rows that have an index and no names, words that were not written stand under the others' digits.
constexpr std::string_view NOT_WRITTEN_IN_ROW = "  --------";

std::string name_of_direction(const MacroEntry *entry, macro_word rw) {
  if (entry != nullptr)
    if (const MacroDirection *const direction = entry->direction(rw))
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

void append(std::string &text, const std::optional<macro_word> &word, std::string_view not_written) {
  if (word)
    append_hex(text, *word);
  else
    text += not_written;
}

std::string rows_of(DataView data) {
  std::string rows;
  for (std::size_t i = 0; i < data.size(); ++i) {
    if (i % WORDS_A_ROW == 0)
      rows += fmt::format("{}{:6}", i == 0 ? "" : "\n", i);
    rows += "  ";
    append(rows, data[i], NOT_WRITTEN_IN_ROW);
  }
  return rows.empty() ? rows : rows + "\n";
}

/// A name, and behind it blanks up to a width.
void append_name(std::string &line, std::string_view name, std::size_t width) {
  line += "  ";
  line += name;
  line.append(width - std::min(width, name.size()), ' ');
}

/// Rows of words below one another, the first with a name.
void append_words(std::string &lines, const DecodedRecord &record, std::size_t width) {
  for (std::size_t i = 0; i < record.size(); ++i) {
    if (i % WORDS_A_ROW == 0) {
      lines += i == 0 ? "" : "\n";
      append_name(lines, i == 0 ? record.name() : std::string{}, width);
    }
    lines += "  ";
    append(lines, record.word(i), NOT_WRITTEN);
  }
  lines += '\n';
}

std::string value_text(const DecodedRecord &record, const DataField &field) {
  const std::optional<std::uint64_t> value = record.value(field);
  return value ? field_text(field, *value) : std::string{"not written"};
}

/// Whether a block's words need no more than the name of the first in a row.
bool is_plain_run(const DecodedBlock &block) {
  return block.layout().fields.empty() && block.layout().labels.empty() && block.size() > 1 && block[0].size() == 1;
}
/// Whether a block is a single record, whose fields have a line each.
bool has_a_line_a_field(const DecodedBlock &block) {
  return block.is_single() && !block.layout().fields.empty();
}

void append_block(std::string &lines, const DecodedBlock &block, std::size_t width) {
  const std::vector<DataField> &fields = block.layout().fields;
  if (is_plain_run(block)) {
    for (std::size_t i = 0; i < block.size(); ++i) {
      if (i % WORDS_A_ROW == 0) {
        lines += i == 0 ? "" : "\n";
        append_name(lines, block[i].name(), width);
      }
      lines += "  ";
      append(lines, block[i].word(0), NOT_WRITTEN);
    }
    lines += '\n';
    return;
  }
  if (has_a_line_a_field(block)) {
    for (const DataField &field : fields)
      lines += fmt::format("  {:{}}  {}\n", field.name, width, value_text(block[0], field));
    return;
  }
  for (std::size_t i = 0; i < block.size(); ++i) {
    const DecodedRecord record = block[i];
    if (fields.empty()) {
      append_words(lines, record, width);
      continue;
    }
    append_name(lines, record.name(), width);
    for (const DataField &field : fields)
      lines += fmt::format("  {} {}", field.name, value_text(record, field));
    lines += '\n';
  }
}

std::size_t width_of(std::span<const DecodedBlock> blocks) {
  std::size_t width = 0;
  for (const DecodedBlock &block : blocks) {
    if (has_a_line_a_field(block)) {
      for (const DataField &field : block.layout().fields)
        width = std::max(width, field.name.size());
      continue;
    }
    // Only the first of a row of plain words is shown.
    const std::size_t step = is_plain_run(block) ? WORDS_A_ROW : 1;
    for (std::size_t i = 0; i < block.size(); i += step)
      width = std::max(width, block[i].name().size());
  }
  return width;
}

/// The words that no block shows, as rows; empty when there are none.
std::string rows_of_others(DataView data, std::span<const DecodedBlock> blocks) {
  std::vector<bool> shown(data.size());
  for (const DecodedBlock &block : blocks)
    for (std::size_t i = 0; i < block.size(); ++i) {
      const DecodedRecord record = block[i];
      for (std::size_t word = record.start(); word < std::min(record.start() + record.size(), data.size()); ++word)
        shown[word] = true;
    }
  DataWords others;
  for (std::size_t i = 0; i < data.size(); ++i)
    if (data[i] && !shown[i]) {
      others.resize(i + 1);
      others[i] = data[i];
    }
  return others.empty() ? std::string{} : fmt::format("words that the catalogue does not name:\n{}", rows_of(others));
}

std::string decoded_data(const FinishedRun &finished) {
  const std::vector<DecodedBlock> &blocks = finished.judgement.decoded;
  if (blocks.empty())
    return rows_of(finished.run.data);
  const std::size_t width = width_of(blocks);
  std::string lines;
  for (const DecodedBlock &block : blocks)
    append_block(lines, block, width);
  return lines + rows_of_others(finished.run.data, blocks);
}

std::string record_of(const RunRequest &request, const RunResult &run) {
  std::string lines;
  for (const RecordWord &word : explain_record(run.record, request.entry.get()))
    lines += fmt::format("  record {:2}  {}{}{}\n", word.index, hex(word.value), word.meaning.empty() ? "" : "  ",
                         word.meaning);
  return lines;
}

std::string verdict_lines(const FinishedRun &finished, SubjectName name) {
  const auto &[request, run, judgement, machine] = finished;
  std::string verdict;
  for (const std::string &failure : judgement.failures)
    verdict += fmt::format("failure: {}\n", failure);
  if (std::ranges::any_of(run.rings, [](const RingLeft &ring) { return ring.fate == RingLeft::Fate::left_open; }))
    verdict += fmt::format("nothing of them was put back; {} does that\n", name(Subject::restore_rings));
  if (!judgement.failures.empty())
    return verdict;
  const std::vector<std::string> &findings = judgement.findings;
  for (std::size_t i = 0; i < std::min(findings.size(), FINDINGS_SHOWN); ++i)
    verdict += fmt::format("finding: {}\n", findings[i]);
  if (findings.size() > FINDINGS_SHOWN)
    verdict += fmt::format("finding: {} more\n", findings.size() - FINDINGS_SHOWN);
  const auto written = static_cast<std::size_t>(
      std::ranges::count_if(run.data, [](const std::optional<macro_word> &word) { return word.has_value(); }));
  return verdict
         + fmt::format("{}: {}, {}\n", findings.empty() ? "pass" : count_of(findings.size(), "finding"),
                       count_of(written, "data word"), count_of(run.calls, "primitive call"));
}

std::string notes_text(const Judgement &judgement) {
  std::string lines;
  for (const std::string &note : judgement.notes)
    lines += fmt::format("note: {}\n", note);
  return lines;
}

}  // namespace

std::string label_of(const MachineInfo &machine) {
  return machine.name + (machine.simulated ? " (simulated)" : "");
}

std::string text_report(const FinishedRun &finished, bool words_only, SubjectName name) {
  const RunRequest &request = finished.request;
  return fmt::format("{}  {}  {}  on {}\n", request.macro->name, describe(request.unit.words()),
                     name_of_direction(request.entry.get(), request.rw), label_of(finished.machine))
         + (words_only ? rows_of(finished.run.data) : decoded_data(finished)) + verdict_lines(finished, name)
         + record_of(request, finished.run) + notes_text(finished.judgement);
}

std::string comparison_text(const Comparison &comparison) {
  if (comparison.first)
    return fmt::format("mismatch: {}\n", describe(comparison));
  return fmt::format("expected: {} as expected\n",
                     comparison.words == 1 ? "1 word is" : fmt::format("{} words are", comparison.words));
}

}  // namespace engine
