#include "engine/run/library.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <optional>
#include <utility>

#include "engine/text/error.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

using scdb::ChipKind;
using scdb::Macro;

/// Names offered for one that is not known.
constexpr std::size_t MACROS_OFFERED = 3;
/// Letters that may differ in a name that is still near; never more than half of them.
constexpr std::size_t NEAR = 4;

/// Whichever libscdb this process runs with, its macro library lies beside it.
std::string library_beside_primitives() {
  Dl_info where{};
  void *const primitive = dlsym(RTLD_DEFAULT, "lmcr_jtag");
  if (primitive == nullptr || dladdr(primitive, &where) == 0)
    return MACRODEBUG_LIBRARY;
  return std::filesystem::path(where.dli_fname).replace_filename(MACRODEBUG_LIBRARY).string();
}

/// Upper case, but for the hexadecimal prefix: test numbers and names compare alike so.
std::string folded(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X"))
    text.remove_prefix(2);
  std::string upper{text};
  for (char &c : upper)
    if (c >= 'a' && c <= 'z')
      c = static_cast<char>(c - 'a' + 'A');
  return upper;
}

/// Letters to change, insert or remove to make one text of the other.
std::size_t distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
    }
  }
  return row[to.size()];
}

/// The forms under which a macro can be named, folded: whole name, name without variant, test number.
std::array<std::string, 3> forms_of(const Macro &macro) {
  const std::string name = folded(macro.name);
  return {name, name.substr(0, name.rfind('_')), fmt::format("{:04X}", macro.number)};
}

bool answers_to(const Macro &macro, const std::string &wanted) {
  return std::ranges::any_of(forms_of(macro), [&](const std::string &form) { return form == wanted; });
}

std::string nearest_names(const std::string &wanted) {
  std::vector<std::pair<std::size_t, std::string_view>> ranked;
  for (const Macro &macro : scdb::macros()) {
    std::optional<std::size_t> nearest;
    for (const std::string &form : forms_of(macro)) {
      const std::size_t away = form.starts_with(wanted) ? 0 : distance(form, wanted);
      if (away <= std::min(NEAR, form.size() / 2))
        nearest = std::min(nearest.value_or(away), away);
    }
    if (nearest)
      ranked.emplace_back(*nearest, macro.name);
  }
  std::ranges::stable_sort(ranked, {}, [](const auto &entry) { return entry.first; });
  ranked.resize(std::min(ranked.size(), MACROS_OFFERED));
  std::string names;
  for (const auto &[rank, name] : ranked)
    names += fmt::format("{}{}", names.empty() ? "" : ", ", name);
  return names;
}

}  // namespace

void load_libraries(const std::vector<std::string> &given) {
  const char *const variable = std::getenv(LIBRARY_VARIABLE);
  if (!given.empty()) {
    for (const std::string &path : given)
      scdb::load_macro_library(path);
  } else if (variable != nullptr && *variable != '\0') {
    for (const std::string_view path : split(variable, ':')) {
      if (path.empty())
        throw InputError(
            fmt::format("{}: '{}' has an empty name in it; give files joined by ':'", LIBRARY_VARIABLE, variable));
      scdb::load_macro_library(std::string{path});
    }
  } else {
    scdb::load_macro_library(library_beside_primitives());
  }
}

const Macro &macro_named(std::string_view text) {
  if (const Macro *exact = scdb::find_macro(text))
    return *exact;
  const std::string wanted = folded(text);
  const Macro *found = nullptr;
  std::string all;
  for (const Macro &macro : scdb::macros()) {
    if (!answers_to(macro, wanted))
      continue;
    all += fmt::format("{}{}", found == nullptr ? "" : ", ", macro.name);
    found = found == nullptr ? &macro : found;
  }
  if (found == nullptr) {
    const std::string nearest = nearest_names(wanted);
    if (!nearest.empty())
      throw InputError(fmt::format("there is no macro '{}'; the nearest: {}", text, nearest));
    throw InputError({fmt::format("there is no macro '{}'; ", text), Subject::macro_list, " shows those there are"});
  }
  if (all != found->name)
    throw InputError(fmt::format("'{}' means several macros; give the whole name: {}", text, all));
  return *found;
}

ChipKind kind_of(const Macro &macro) {
  const std::string_view prefix = std::string_view{macro.name}.substr(0, macro.name.find('_'));
  for (const scdb::MacroPrefix &row : scdb::MACRO_PREFIXES)
    if (row.text == prefix)
      return row.kind;
  return ChipKind::sp;
}

}  // namespace engine
