#include "engine/run/explain.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "engine/text/words.hpp"
#include "macrodebug.h"
#include "scdb/record.hpp"

namespace engine {
namespace {

struct SubCode {
  macro_word code;
  std::string_view title;
};
constexpr std::array<SubCode, 6> SUB_CODES{{
    {SUB_SELECTOR, "the selector is not one that the macro accepts"},
    {SUB_SECOND, "the second value checked is out of range"},
    {SUB_COUNT, "the count or length is out of range"},
    {SUB_THIRD, "the third value checked is out of range, or a register does not hold what is written"},
    {SUB_HARDWARE, "a value read from the hardware is of an unsupported kind"},
    {SUB_FIELD, "a field inside a packed word is invalid"},
}};

std::string describe_sub_code(macro_word code, const MacroEntry *entry) {
  const auto number = static_cast<std::int32_t>(code);
  std::string_view title = entry != nullptr ? entry->title_of_sub_code(code) : std::string_view{};
  if (title.empty())
    title = title_of_sub_code(code);
  return title.empty() ? fmt::format("sub-code {}", number) : fmt::format("{} (sub-code {})", title, number);
}

/// "board 2: cpu 0-1, sc 0".
std::string describe_location(std::size_t board, macro_word word) {
  const std::string chips = describe_chips(word);
  return chips.empty() ? chips : fmt::format("board {}: {}", board, chips);
}

std::string meaning_in_parameter_record(std::size_t index, macro_word value, const MacroEntry *entry) {
  switch (index) {
    case ERR_CLASS:
      return "parameter error";
    case ERR_SUBCODE:
      return describe_sub_code(value, entry);
    case ERR_VALUE:
      return "offending value";
    case ERR_CONTEXT:
      return "second value of the check";
    default:
      return index >= ERR_LOCATION ? describe_location(index - ERR_LOCATION, value) : std::string{};
  }
}

std::string meaning_in_failure_record(std::size_t index, const scdb::Failure &failure) {
  const scdb::Outcome &outcome = failure.outcome;
  switch (index) {
    case ERR_CLASS:
      return std::string{scdb::title_of(scdb::class_of(outcome.reason))};
    case ERR_PRIMITIVE:
      return std::string{scdb::name_of(failure.primitive)};
    case ERR_CODE:
      return "its code, ring, register or number";
    case ERR_PLACE:
      return outcome.placed ? scdb::to_string(outcome.place) : "no single chip";
    case ERR_REASON:
      return std::string{scdb::title_of(outcome.reason)};
    default:
      return {};
  }
}

/// The chips that a write with read-back found wrong, empty when the record is of something else: word 6 is then the
/// mask of failing boards, and words 8 to 23 hold the failing chips of exactly these boards.
std::string describe_failing_chips(std::span<const macro_word> record) {
  if (record[ERR_SUBCODE] != SUB_THIRD)
    return {};
  std::string chips;
  for (std::size_t board = 0; board < scdb::BOARDS; ++board) {
    const macro_word word = record[ERR_LOCATION + board];
    if (((record[ERR_VALUE] >> board & 1) != 0) != (word != 0))
      return {};
    if (word != 0)
      chips += fmt::format("{}{}", chips.empty() ? "" : "; ", describe_location(board, word));
  }
  return chips;
}

std::string describe_parameter_error(std::span<const macro_word> record, const MacroEntry *entry) {
  if (const std::string chips = describe_failing_chips(record); !chips.empty())
    return fmt::format("a register does not hold what is written, on {}", chips);
  return fmt::format("parameter refused: {}, value {}", describe_sub_code(record[ERR_SUBCODE], entry),
                     hex(record[ERR_VALUE]));
}

/// Whether the record is no more than the trace of the stop.
bool is_of_stop(std::span<const macro_word> record) {
  const std::optional<scdb::Failure> failure = scdb::read_failure(record);
  return failure && failure->outcome.reason == scdb::Reason::interrupted;
}

std::string describe_status(std::span<const macro_word> record, const MacroEntry *entry) {
  if (record[ERR_CLASS] == ERR_PARAMETER)
    return describe_parameter_error(record, entry);
  if (const std::optional<scdb::Failure> failure = scdb::read_failure(record))
    return scdb::describe(*failure);
  const bool empty = std::ranges::all_of(record, [](macro_word word) { return word == 0; });
  return empty ? "_RETURN is -1, and the error record is empty"
               : "_RETURN is -1, and the error record is none that a primitive or a macro writes";
}

using Fate = RingLeft::Fate;

struct FateTitle {
  Fate fate;
  std::string_view name;
  std::string_view title;
};
constexpr std::array<FateTitle, 5> FATES{{
    {Fate::restored, "restored", "rings left open, restored"},
    {Fate::not_restored, "not restored", "rings left open, not restored"},
    {Fate::left_open, "left open", "rings left open"},
    {Fate::still_open, "still open", "rings that an earlier run left open, still open"},
    {Fate::kept_open, "kept open", "rings kept open"},
}};

/// The rings that came to this, in a sentence; empty where none did.
std::string sentence_of(const RunResult &run, Fate fate) {
  std::vector<std::string> names;
  for (const RingLeft &left : run.rings)
    if (left.fate == fate)
      names.push_back(
          fmt::format("{} ring 0x{:02X}{}", scdb::to_string(left.ring.chip), left.ring.ring,
                      left.reason == scdb::Reason::none ? "" : fmt::format(" ({})", scdb::title_of(left.reason))));
  if (names.empty())
    return {};
  return fmt::format("{}: {}", std::ranges::find(FATES, fate, &FateTitle::fate)->title, joined(names));
}

std::string describe_position(const CallPosition &position) {
  if (position.number == 0)
    return "before any primitive call";
  return fmt::format("{} primitive call {}, {}", position.finished ? "after" : "during", position.number,
                     scdb::name_of(position.primitive));
}

std::string describe_crash(const Crash &crash) {
  if (!crash.breach) {
    const std::string address = crash.fault.address ? fmt::format(" at address 0x{:X}", *crash.fault.address) : "";
    return fmt::format("{}{} outside every area of the macro, {}", title_of_signal(crash.fault.signal), address,
                       describe_position(crash.position));
  }
  const Access access = crash.breach->access;
  return fmt::format("{} {}, {}",
                     access == Access::unknown ? "access to"
                     : access == Access::read  ? "read of"
                                               : "write to",
                     describe(*crash.breach), describe_position(crash.position));
}

}  // namespace

std::vector<RecordWord> explain_record(std::span<const macro_word> record, const MacroEntry *entry) {
  const std::optional<scdb::Failure> failure = scdb::read_failure(record);
  std::vector<RecordWord> words;
  for (std::size_t i = 0; i < record.size(); ++i) {
    if (record[i] == 0 && !(failure && i <= ERR_REASON))
      continue;
    words.push_back({i, record[i], {}});
    if (record[ERR_CLASS] == ERR_PARAMETER)
      words.back().meaning = meaning_in_parameter_record(i, record[i], entry);
    else if (failure)
      words.back().meaning = meaning_in_failure_record(i, *failure);
  }
  return words;
}

std::vector<std::string> failures_of(const RunResult &run, const MacroEntry *entry) {
  std::vector<std::string> failures;
  if (run.crash)
    failures.push_back(describe_crash(*run.crash));
  for (const Breach &underrun : run.underruns)
    failures.push_back(fmt::format("write to {}", describe(underrun)));
  if (run.stop)
    failures.push_back(fmt::format("stopped by {} at primitive call {}", run.stop->by, run.stop->call));
  if (run.status == MACRO_FAILED && !(run.stop && is_of_stop(run.record)))
    failures.push_back(describe_status(run.record, entry));
  for (const Fate fate : {Fate::not_restored, Fate::left_open})
    if (const std::string sentence = sentence_of(run, fate); !sentence.empty())
      failures.push_back(sentence);
  return failures;
}

std::vector<std::string> fates_of_rings(const RunResult &run) {
  std::vector<std::string> sentences;
  for (const FateTitle &row : FATES)
    if (std::string sentence = sentence_of(run, row.fate); !sentence.empty())
      sentences.push_back(std::move(sentence));
  return sentences;
}

std::vector<std::string> notes_of(const RunResult &run) {
  std::vector<std::string> notes;
  for (const Fate fate : {Fate::restored, Fate::still_open, Fate::kept_open})
    if (std::string sentence = sentence_of(run, fate); !sentence.empty())
      notes.push_back(std::move(sentence));
  return notes;
}

std::string_view title_of_sub_code(macro_word code) {
  const auto *const row = std::ranges::find(SUB_CODES, code, &SubCode::code);
  return row == SUB_CODES.end() ? std::string_view{} : row->title;
}

std::string_view name_of(RingLeft::Fate fate) {
  return std::ranges::find(FATES, fate, &FateTitle::fate)->name;
}

std::string_view name_of(Access access) {
  switch (access) {
    case Access::read:
      return "read";
    case Access::write:
      return "write";
    case Access::unknown:
      break;
  }
  return "unknown";
}

std::string describe(const Breach &breach) {
  const auto size = static_cast<std::ptrdiff_t>(breach.size);
  const std::string word = fmt::format("{}[{}]", breach.area, breach.index);
  if (breach.index >= 0 && breach.index < size)
    return fmt::format("{}, which is read-only", word);
  const std::ptrdiff_t distance = breach.index < 0 ? -breach.index : breach.index - size + 1;
  return fmt::format("{}, {} {} {} (it has {} {})", word, distance, distance == 1 ? "word" : "words",
                     breach.index < 0 ? "before its beginning" : "past its end", breach.size,
                     breach.size == 1 ? "word" : "words");
}

}  // namespace engine
