#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <iterator>
#include <variant>

#include "engine/plan/embedded_plans.hpp"
#include "engine/plan/plan.hpp"
#include "engine/run/library.hpp"
#include "engine/run/request.hpp"
#include "engine/text/error.hpp"
#include "engine/text/file.hpp"
#include "engine/text/toml_reader.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

/// The most runs that a step may come to, and the variants of all steps together; repetitions are not counted.
constexpr std::size_t MOST_CASES = 100'000;
constexpr double MOST_SECONDS_OF_A_STEP = 7 * 24 * 3600.0;

std::array<Name<Verdict>, EXPECTABLE_VERDICTS.size()> verdict_names() {
  std::array<Name<Verdict>, EXPECTABLE_VERDICTS.size()> names{};
  for (std::size_t i = 0; i < names.size(); ++i)
    names[i] = {name_of(EXPECTABLE_VERDICTS[i]), EXPECTABLE_VERDICTS[i]};
  return names;
}
constexpr std::array<Name<OpenRings>, 2> RINGS{{{"restore", OpenRings::restore}, {"keep", OpenRings::keep}}};

/// What is called so in a plan.
std::string_view key_of(Subject subject) {
  switch (subject) {
    case Subject::direction:
      return "'rw'";
    case Subject::para:
      return "'para'";
    case Subject::data:
      return "'data'";
    case Subject::expect:
      return "'expect'";
    case Subject::mask:
      return "'mask'";
    default:
      return neutral_name(subject);
  }
}

/// A field that a step goes through.
struct Loop {
  std::string field;
  std::vector<GivenValue> values;
};

/// Reads a plan, and makes the runs of its steps.
class PlanReader final : TomlReader {
 public:
  PlanReader(const std::string &origin, const Catalogue &catalogue, std::span<const scdb::Chip> chips)
      : TomlReader{origin}, catalogue_{catalogue}, chips_{chips} {}

  Plan read(std::string_view source) {
    const toml::table root = parse(source);
    check_keys(root, {"title", "text", "continue", "timeout", "step", "cleanup"});
    plan_.title = needed_text(root, "title");
    plan_.text = text(root, "text");
    go_on_ = boolean(root, "continue", false);
    timeout_ = timeout(root, timeout_);
    if (root.get("step") == nullptr)
      fail(root, "'step' is missing; a plan has [[step]] tables");
    each_table(root, "step", [this](const toml::table &table) { read_step(table, false); });
    each_table(root, "cleanup", [this](const toml::table &table) { read_step(table, true); });
    return std::move(plan_);
  }

 private:
  /// What `make` gives; its complaints get the place of the node.
  template <class Make>
  auto at(const toml::node &node, Make &&make) const {
    try {
      return make();
    } catch (const InputError &error) {
      fail(node, error.text(key_of));
    }
  }

  void read_step(const toml::table &table, bool cleanup) {
    check_keys(table, {"name", "macro", "units", "together", "rw", "fields", "for", "para", "data", "expect", "mask",
                       "verdict", "open-rings", "repeat", "timeout", "continue"});
    PlanStep &step = plan_.steps.emplace_back();
    step.cleanup = cleanup;
    step.go_on = boolean(table, "continue", go_on_);
    step.timeout = timeout(table, timeout_);
    step.repeat = static_cast<macro_word>(integer(table, "repeat", 1, 1, REPEAT_LIMIT));
    step.verdict = choice(table, "verdict", verdict_names(), Verdict::pass);
    step.rings = choice(table, "open-rings", RINGS, OpenRings::usual);
    const std::vector<std::string> names = one_or_more(table, "macro");
    for (const std::string &name : names)
      read_macro(table, name, names.size() > 1, step);
    const RunRequest &first = step.variants.front().request;
    step.macro =
        names.size() == 1 ? first.macro->name : fmt::format("{} and {} more", first.macro->name, names.size() - 1);
    step.name = text(table, "name");
    if (step.name.empty())
      step.name = first.entry ? first.entry->title : first.macro->name;
    read_units(table, step);
    if (step.units.size() > MOST_CASES / step.variants.size())
      fail(table, fmt::format("the step comes to {} runs on {} units, more than {}", step.variants.size(),
                              step.units.size(), MOST_CASES));
  }

  [[nodiscard]] std::vector<std::string> one_or_more(const toml::table &table, std::string_view key) const {
    const toml::node &node = needed(table, key);
    return node.is_array() ? texts(table, key) : std::vector{text(node, key)};
  }

  // Units.

  void read_units(const toml::table &table, PlanStep &step) const {
    const toml::node &node = needed(table, "units");
    const RunRequest &request = step.variants.front().request;
    const bool usual = request.entry && request.entry->together.with(request.entry->direction(request.rw));
    const bool together = boolean(table, "together", usual);
    for (const std::string &unit : one_or_more(table, "units")) {
      if (const std::optional<scdb::ChipKind> kind = scdb::kind_named(unit.substr(0, unit.find(':')));
          kind && std::ranges::find(chips_, *kind, &scdb::Chip::kind) == chips_.end()) {
        step.missing = fmt::format("this machine has no {}", scdb::info(*kind).name);
        continue;
      }
      const Selection selection = at(node, [&] { return parse_selection(unit, chips_); });
      if (together)
        step.units.push_back(selection);
      else
        std::ranges::copy(single_chips(selection, chips_), std::back_inserter(step.units));
    }
    if (!step.units.empty())
      step.missing.clear();
  }

  // Fields and words.

  /// A number, or a text that names one.
  [[nodiscard]] GivenValue value(const toml::node &node, std::string_view what) const {
    if (node.is_integer())
      return integer(node, what, INT32_MIN, MACRO_ALL);
    if (!node.is_string())
      fail(node, fmt::format("'{}' must be a number, or a text in quotation marks", what));
    return text(node, what);
  }
  [[nodiscard]] std::vector<macro_word> words(const toml::table &table, std::string_view key) const {
    std::vector<macro_word> list;
    each(table, key, [&](const toml::node &element) {
      const GivenValue given = value(element, key);
      const auto *const number = std::get_if<std::int64_t>(&given);
      list.push_back(number != nullptr ? static_cast<macro_word>(*number) : at(element, [&] {
        return parse_word(std::get<std::string>(given), fmt::format("'{}'", key));
      }));
    });
    return list;
  }
  [[nodiscard]] const toml::table *table_of(const toml::table &table, std::string_view key,
                                            std::string_view example) const {
    const toml::node *const node = table.get(key);
    if (node != nullptr && !node->is_table())
      fail(*node, fmt::format("'{}' must be a table, such as {}", key, example));
    return node == nullptr ? nullptr : node->as_table();
  }

  /// "0-31" or "0,2-3" as the numbers that it stands for.
  [[nodiscard]] std::vector<GivenValue> numbers(const toml::node &node, std::string_view field) const {
    const std::string ranges = text(node, field);
    std::vector<GivenValue> values;
    for (const std::string_view piece : split(ranges, ',')) {
      const std::vector<std::string_view> ends = split(piece, '-');
      const auto end = [&](std::string_view number) { return at(node, [&] { return parse_word(number, field); }); };
      const macro_word first = end(ends.front());
      const macro_word last = end(ends.back());
      if (ends.size() == 2 && last >= first && last - first >= MOST_CASES - std::min(values.size(), MOST_CASES))
        fail(node, fmt::format("'{}' is '{}'; a plan has up to {} runs", field, ranges, MOST_CASES));
      if (ends.size() > 2 || last < first)
        fail(node, fmt::format("'{}' is '{}'; write numbers such as \"0-31\" or \"0,2-3\", or a list of values", field,
                               ranges));
      for (std::size_t i = 0; i <= last - first; ++i)
        values.emplace_back(std::int64_t{first} + static_cast<std::int64_t>(i));
    }
    return values;
  }
  /// In the order in which they stand in the file.
  [[nodiscard]] std::vector<Loop> loops(const toml::table &table) const {
    std::vector<std::pair<toml::source_position, Loop>> placed;
    const toml::table *const fields = table_of(table, "for", "{index = \"0-31\"}");
    if (fields == nullptr)
      return {};
    for (const auto &[key, node] : *fields) {
      Loop loop{std::string{key.str()}, {}};
      if (node.is_string())
        loop.values = numbers(node, loop.field);
      else
        for (const toml::node &element : list(node, loop.field))
          loop.values.push_back(value(element, loop.field));
      placed.emplace_back(key.source().begin, std::move(loop));
    }
    std::ranges::sort(placed, {}, [](const auto &row) { return std::pair{row.first.line, row.first.column}; });
    std::vector<Loop> ordered;
    ordered.reserve(placed.size());
    for (auto &[position, loop] : placed)
      ordered.push_back(std::move(loop));
    return ordered;
  }

  void read_macro(const toml::table &table, const std::string &name, bool one_of_several, PlanStep &step) {
    const toml::node &place_of_macro = needed(table, "macro");
    const scdb::Macro &macro = at(place_of_macro, [&] { return std::cref(macro_named(name)); });
    const std::shared_ptr<const MacroEntry> entry = at(place_of_macro, [&] { return catalogue_.find(macro.name); });
    RunOrder order;
    order.rings = step.rings;
    if (const toml::node *const node = table.get("rw")) {
      const GivenValue given = value(*node, "rw");
      if (const auto *const number = std::get_if<std::int64_t>(&given))
        order.direction = static_cast<macro_word>(*number);
      else
        order.direction = std::get<std::string>(given);
    }
    order.para = words(table, "para");
    order.data = words(table, "data");
    if (const toml::table *const fields = table_of(table, "fields", "{index = 5}"))
      for (const auto &[key, node] : *fields)
        order.fields.push_back({std::string{key.str()}, value(node, key.str())});
    const std::vector<Loop> loops = this->loops(table);
    std::size_t count = 1;
    for (const Loop &loop : loops) {
      if (loop.values.size() > MOST_CASES / count)
        fail(*table.get("for"), fmt::format("'for' comes to more than {} runs", MOST_CASES));
      count *= loop.values.size();
    }
    variants_ += count;
    if (variants_ > MOST_CASES)
      fail(place_of_macro, fmt::format("the plan comes to more than {} runs", MOST_CASES));

    const toml::node *place = &place_of_macro;
    for (const std::string_view key : {"para", "rw", "fields", "for"})
      if (table.get(key) != nullptr)
        place = table.get(key);
    for (std::size_t i = 0; i < count; ++i) {
      PlanVariant variant;
      if (one_of_several)
        variant.values = macro.name;
      RunOrder own = order;
      for (std::size_t rest = i, behind = count; const Loop &loop : loops) {
        behind /= loop.values.size();
        own.fields.push_back({loop.field, loop.values[rest / behind]});
        variant.values += (variant.values.empty() ? "" : " ") + describe(own.fields.back());
        rest %= behind;
      }
      variant.request = at(*place, [&] { return make_request(own, macro, entry, catalogue_); });
      variant.expectation.verdict = step.verdict;
      read_expectation(table, variant);
      step.variants.push_back(std::move(variant));
    }
  }

  // Expectations.

  void read_expectation(const toml::table &table, PlanVariant &variant) const {
    const toml::node *const node = table.get("expect");
    std::vector<macro_word> masks = words(table, "mask");
    Expectation &expectation = variant.expectation;
    if (node == nullptr || !node->is_table()) {
      if (node == nullptr && !masks.empty())
        fail(*table.get("mask"), "there is nothing to compare; give 'expect' too");
      expectation.words = words(table, "expect");
      expectation.masks =
          at(node != nullptr ? *node : table, [&] { return masks_for(std::move(masks), expectation.words.size()); });
      return;
    }
    if (!masks.empty())
      fail(*table.get("mask"), "'mask' belongs to words; results that are expected by name have none");
    const RunRequest &request = variant.request;
    if (!request.entry)
      fail(*node, fmt::format("the catalogue does not know {}; give words", request.macro->name));
    if (node->as_table()->empty())
      fail(*node, "'expect' must name one result at the least");
    for (const auto &[key, value] : *node->as_table()) {
      NamedExpectation named{std::string{key.str()}, {}, {}};
      if (value.is_integer())
        named.number = static_cast<std::uint64_t>(integer(value, key.str(), 0, INT64_MAX));
      named.text = named.number ? fmt::format("0x{:X}", *named.number) : text(value, key.str());
      at(value, [&] { check(named, {*request.entry, request.rw, request.para}); });
      expectation.named.push_back(std::move(named));
    }
  }

  [[nodiscard]] std::chrono::milliseconds timeout(const toml::table &table, std::chrono::milliseconds usual) const {
    const toml::node *const node = table.get("timeout");
    if (node == nullptr)
      return usual;
    const std::optional<double> seconds = node->is_number() ? node->value<double>() : std::nullopt;
    if (!seconds || !(*seconds >= 0.001 && *seconds <= MOST_SECONDS_OF_A_STEP))
      fail(*node, fmt::format("'timeout' must be seconds, from 0.001 to {}", MOST_SECONDS_OF_A_STEP));
    return std::chrono::milliseconds{std::llround(*seconds * 1000)};
  }

  const Catalogue &catalogue_;
  std::span<const scdb::Chip> chips_;
  Plan plan_;
  std::size_t variants_ = 0;
  bool go_on_ = false;
  std::chrono::milliseconds timeout_{0};
};

class TitleReader final : TomlReader {
 public:
  explicit TitleReader(const std::string &origin) : TomlReader{origin} {}
  [[nodiscard]] std::string read(std::string_view source) const { return needed_text(parse(source), "title"); }
};

std::string names_of_built_in_plans() {
  std::string names;
  for (const PlanSource &plan : built_in_plans())
    names += fmt::format("{}{}", names.empty() ? "" : ", ", plan.name);
  return names;
}

}  // namespace

std::size_t Plan::cases() const {
  std::size_t count = 0;
  for (const PlanStep &step : steps)
    count += step.cases();
  return count;
}

Plan read_plan(const PlanSource &source, const Catalogue &catalogue, std::span<const scdb::Chip> chips) {
  Plan plan = PlanReader{source.origin, catalogue, chips}.read(source.text);
  plan.name = source.name;
  plan.source = source.text;
  return plan;
}

std::string title_of(const PlanSource &source) {
  return TitleReader{source.origin}.read(source.text);
}

std::vector<PlanSource> built_in_plans() {
  std::vector<PlanSource> all;
  for (const toml_file::Embedded &file : embedded_plans())
    all.push_back({std::string{file.name}, fmt::format("{}.toml", file.name), std::string{file.text}});
  std::ranges::sort(all, {}, &PlanSource::name);
  return all;
}

PlanSource find_plan(const std::string &name) {
  if (name.find_first_of("/.") != std::string::npos)
    return {std::filesystem::path{name}.stem().string(), name, read_file(name, "plan")};
  for (PlanSource &plan : built_in_plans())
    if (plan.name == name)
      return std::move(plan);
  throw InputError(
      fmt::format("there is no plan '{}'; those built in are {}; a file has a slash or a dot in its name (./{})", name,
                  names_of_built_in_plans(), name));
}

}  // namespace engine
