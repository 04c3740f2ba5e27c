#include "host/command/completion_values.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "engine/catalogue/catalogue.hpp"
#include "engine/catalogue/fields.hpp"
#include "engine/plan/plan.hpp"
#include "engine/run/library.hpp"
#include "engine/text/words.hpp"
#include "engine/unit/selection.hpp"
#include "host/command/options.hpp"
#include "scdb/session.hpp"

namespace host {
namespace {

using Candidates = std::vector<Candidate>;

/// The last value of an option, or nothing.
std::string last_of(const Given &given, Takes takes) {
  const std::vector<std::string> values = given.of(takes);
  return values.empty() ? std::string{} : values.back();
}

/// The bench that the line would work on.
BenchInUse bench_of(const Given &given) {
  CommonOptions options;
  options.shell = given.program->shell();
  options.machine = last_of(given, Takes::machine);
  options.libraries = given.of(Takes::library);
  options.catalogue = last_of(given, Takes::catalogue);
  return BenchInUse{options};
}

/// The entry of the macro that the line names, null where there is none.
std::shared_ptr<const MacroEntry> entry_of(const Given &given, BenchInUse &bench) {
  bench->macros();
  return bench.catalogue().find(macro_named(last_of(given, Takes::macro)).name);
}

Candidates candidates_of(const std::vector<std::string> &words) {
  Candidates candidates;
  for (const std::string &word : words)
    candidates.push_back({word});
  return candidates;
}

/// Names; once something is typed also the test numbers that one macro alone has.
Candidates macros(const Given &given, BenchInUse &bench) {
  Candidates names;
  std::map<std::string, unsigned> numbers;
  for (const scdb::Macro &macro : bench->macros()) {
    names.push_back({macro.name});
    ++numbers[fmt::format("{:04X}", macro.number)];
  }
  if (!given.word.empty())
    for (const auto &[number, count] : numbers)
      if (count == 1)
        names.push_back({number});
  return names;
}

/// Where the element of a list begins that a text ends with.
std::size_t start_of_element(std::string_view text) {
  const std::size_t sign = text.find_last_of(":.,-+");
  return sign == std::string_view::npos ? 0 : sign + 1;
}

/// Numbers of chips that are on every board of a place such as "cpu:0,2".
std::set<unsigned> chips_everywhere(std::string_view place, const std::vector<scdb::Chip> &chips) {
  const Selection boards = parse_selection(place, chips);
  macro_word common = MACRO_ALL;
  for (unsigned board = 0; board < scdb::BOARDS; ++board)
    if ((boards.number >> board & 1) != 0)
      common &= boards.mring[board];
  std::set<unsigned> numbers;
  for (const scdb::Chip chip : chips)
    if (scdb::unit_type_of(chip.kind) == boards.type && (common & scdb::chip_bit(chip.kind, chip.number)) != 0)
      numbers.insert(chip.number);
  return numbers;
}

/// Kinds up to the colon, then boards, then chips; "+" begins with a board anew.
Candidates units(const Given &given, BenchInUse &bench) {
  const std::vector<scdb::Chip> &chips = bench->chips();
  const std::string &word = given.word;
  const std::size_t colon = word.find(':');
  Candidates units;
  if (colon == std::string::npos) {
    for (const scdb::ChipKindInfo &kind : scdb::CHIP_KINDS)
      if (std::ranges::find(chips, kind.kind, &scdb::Chip::kind) != chips.end())
        units.push_back({fmt::format("{}:", kind.name), false});
    return units;
  }
  const std::string kind = word.substr(0, colon);
  const std::size_t place = std::max(word.find_last_of(":+") + 1, colon + 1);
  const std::size_t dot = word.find('.', place);
  const std::string begun = word.substr(0, start_of_element(word));
  const auto add_chips = [&](const std::string &boards, const std::string &before) {
    for (const unsigned number : chips_everywhere(fmt::format("{}:{}", kind, boards), chips))
      units.push_back({before + std::to_string(number)});
  };
  if (dot != std::string::npos) {
    add_chips(word.substr(place, dot - place), begun);
    return units;
  }
  std::set<unsigned> boards;
  for (const scdb::Chip chip : chips)
    if (scdb::info(chip.kind).name == kind)
      boards.insert(chip.board);
  for (const unsigned board : boards)
    if (const std::string unit = begun + std::to_string(board); unit == word)
      add_chips(word.substr(place), unit + ".");
    else
      units.push_back({unit, false});
  return units;
}

Candidates directions(const Given &given, BenchInUse &bench) {
  const std::shared_ptr<const MacroEntry> entry = entry_of(given, bench);
  Candidates names;
  if (entry)
    for (const MacroDirection &direction : entry->directions)
      names.push_back({direction.name});
  return names.empty() ? Candidates{{"read"}, {"write"}, {"none"}} : names;
}

/// The names of flags, joined by "+".
Candidates flags(const ValueNames &names, const std::string &field, std::string_view value) {
  const std::size_t plus = value.rfind('+');
  const std::string before{plus == std::string_view::npos ? std::string_view{} : value.substr(0, plus + 1)};
  const std::vector<std::string_view> given = split(before, '+');
  const std::string start = field + before;
  Candidates candidates;
  for (const std::string &flag : names.flags)
    if (std::ranges::find(given, flag) == given.end())
      candidates.push_back({start + flag, before.empty() && names.flags.size() == 1});
  if (before.empty() && !names.flags.empty())
    for (const char *const choice : {"all", "none"})
      candidates.push_back({field + choice});
  return candidates;
}

/// Fields that are not given yet; behind the "=" of one, the names of its values.
Candidates fields(const Given &given, BenchInUse &bench) {
  const std::shared_ptr<const MacroEntry> entry = entry_of(given, bench);
  if (!entry)
    return {};
  Candidates candidates;
  if (const std::size_t sign = given.word.find('='); sign != std::string::npos) {
    const ValueNames names = value_names(*entry, given.word.substr(0, sign));
    const std::string field = given.word.substr(0, sign + 1);
    for (const std::string &value : names.values)
      candidates.push_back({field + value});
    std::ranges::move(flags(names, field, std::string_view{given.word}.substr(sign + 1)),
                      std::back_inserter(candidates));
    return candidates;
  }
  const std::string rw = last_of(given, Takes::direction);
  const MacroDirection *const direction = rw.empty() ? nullptr : entry->direction(direction_of(rw, &*entry));
  const std::vector<std::string> known = given.of(Takes::field);
  for (const std::string &name : field_names(*entry, direction))
    if (std::ranges::none_of(known, [&](const std::string &field) { return field.starts_with(name + "="); }))
      candidates.push_back({name + "=", false});
  return candidates;
}

/// The rings of the unit that is given, or of all chips.
Candidates rings(const Given &given, BenchInUse &bench) {
  const std::vector<scdb::Chip> &chips = bench->chips();
  const std::string unit = last_of(given, Takes::unit);
  std::set<unsigned> codes;
  const auto add = [&codes, &bench](scdb::Chip chip) {
    for (const scdb::Part &part : bench->machine().parts(chip))
      if (part.kind == scdb::Part::Kind::ring)
        codes.insert(part.ring);
  };
  const Selection selection = unit.empty() ? Selection{} : parse_selection(unit, chips);
  for (const scdb::Chip chip : chips)
    if (unit.empty() || selects(selection, chip))
      add(chip);
  Candidates candidates;
  for (const unsigned code : codes)
    candidates.push_back({fmt::format("0x{:02X}", code)});
  return candidates;
}

Candidates paths(std::string_view word, bool folders_only) {
  const std::size_t slash = word.rfind('/');
  const std::string before{slash == std::string_view::npos ? std::string_view{} : word.substr(0, slash + 1)};
  const bool hidden = word.substr(before.size()).starts_with('.');
  Candidates candidates;
  std::error_code error;
  for (std::filesystem::directory_iterator at{before.empty() ? "." : before, error}, end; !error && at != end;
       at.increment(error)) {
    const std::string name = at->path().filename().string();
    std::error_code unknown;
    const bool folder = at->is_directory(unknown);
    if (name.starts_with('.') == hidden && (folder || !folders_only))
      candidates.push_back({before + name + (folder ? "/" : ""), !folder});
  }
  std::ranges::sort(candidates, {}, &Candidate::text);
  return candidates;
}

/// What is built in under a name, then files.
Candidates names_and_files(const std::vector<std::string> &names, const Given &given) {
  Candidates candidates = candidates_of(names);
  std::ranges::move(paths(given.word, false), std::back_inserter(candidates));
  return candidates;
}

Candidates plans(const Given &given) {
  std::vector<std::string> names;
  for (const PlanSource &plan : built_in_plans())
    names.push_back(plan.name);
  return names_and_files(names, given);
}

Candidates families(const Given & /*given*/, BenchInUse &bench) {
  Candidates names;
  for (const std::shared_ptr<const Family> &family : bench.catalogue().families())
    names.push_back({family->name});
  return names;
}

Candidates commands(const Given &given) {
  Candidates names;
  for (const Command *const command : given.program->parts_shown())
    names.push_back({command->get_name()});
  return names;
}

/// Kinds that are not given yet, joined by ",".
Candidates kinds_of_chips(const Given &given) {
  const std::string before = given.word.substr(0, given.word.rfind(',') + 1);
  const std::vector<std::string_view> known = split(before, ',');
  Candidates kinds;
  for (const scdb::ChipKindInfo &kind : scdb::CHIP_KINDS)
    if (std::ranges::find(known, kind.name) == known.end())
      kinds.push_back({fmt::format("{}{}", before, kind.name)});
  return kinds;
}

Candidates candidates_for(const Value &value, const Given &given) {
  BenchInUse bench = bench_of(given);
  switch (value.takes) {
    case Takes::choice:
      return candidates_of(value.choices);
    case Takes::kind_of_chip:
      return kinds_of_chips(given);
    case Takes::machine:
      return names_and_files(scdb::built_in_machines(), given);
    case Takes::macro:
      return macros(given, bench);
    case Takes::family:
      return families(given, bench);
    case Takes::unit:
      return units(given, bench);
    case Takes::direction:
      return directions(given, bench);
    case Takes::field:
      return fields(given, bench);
    case Takes::ring:
      return rings(given, bench);
    case Takes::plan:
      return plans(given);
    case Takes::command:
      return commands(given);
    case Takes::library:
    case Takes::file:
    case Takes::file_or_words:
      return paths(given.word, false);
    case Takes::catalogue:
    case Takes::folder:
      return paths(given.word, true);
    case Takes::text:
    case Takes::number:
    case Takes::word:
    case Takes::seconds:
    case Takes::bytes:
    case Takes::ring_bits:
      break;
  }
  return {};
}

}  // namespace

std::vector<std::string> Given::of(Takes what) const {
  std::vector<std::string> found;
  for (const auto &[option, words] : values)
    if (const Value *const value = command->value_of(*option); value != nullptr && value->takes == what)
      std::ranges::copy(words, std::back_inserter(found));
  return found;
}

std::vector<Candidate> values_of(const CLI::Option &option, const Given &given) {
  // "--machine=lar": the value alone, and the name back before it.
  const std::size_t sign =
      given.word.starts_with("--") && given.option_possible ? given.word.find('=') : std::string::npos;
  const std::string before = sign == std::string::npos ? std::string{} : given.word.substr(0, sign + 1);
  Given value = given;
  value.word.erase(0, before.size());

  const Value *const taken = given.command->value_of(option);
  Candidates candidates = taken == nullptr ? Candidates{} : candidates_for(*taken, value);
  for (Candidate &candidate : candidates)
    candidate.text.insert(0, before);
  return candidates;
}

}  // namespace host
