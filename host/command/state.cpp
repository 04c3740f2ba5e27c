#include "host/command/state.hpp"

#include <fmt/format.h>

#include <optional>

#include "engine/text/error.hpp"
#include "engine/text/file.hpp"
#include "scdb/session.hpp"

namespace host {
namespace {

constexpr std::string_view STATE_OPTION = "--state";

}  // namespace

void load_state(const std::string &path) {
  // Before anything is done that could not be kept afterwards.
  if (!scdb::machine().save_state())
    throw InputError(fmt::format("{}: {} keeps no state", STATE_OPTION, scdb::machine().name()));
  const std::optional<std::string> text = read_file_if_any(path, STATE_OPTION);
  if (!text)
    return;
  try {
    scdb::machine().load_state(*text);
  } catch (const scdb::MachineError &error) {
    throw InputError(fmt::format("{}: '{}': {}", STATE_OPTION, path, error.what()));
  }
}

void save_state(const std::string &path) {
  if (path.empty())
    return;
  const std::optional<std::string> text = scdb::machine().save_state();
  if (!text)
    throw InputError(fmt::format("{}: {} keeps no state", STATE_OPTION, scdb::machine().name()));
  write_file(path, *text, STATE_OPTION);
}

}  // namespace host
