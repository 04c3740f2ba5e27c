#include "engine/run/bench.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "engine/run/library.hpp"
#include "engine/text/error.hpp"
#include "engine/text/file.hpp"

namespace engine {
namespace {

constinit bool there_is_one = false;

}  // namespace

Bench::Bench(BenchSource source, std::unique_ptr<scdb::Machine> machine)
    : source_{std::move(source)}, given_{std::move(machine)} {
  if (std::exchange(there_is_one, true))
    throw std::logic_error("there is a bench already, and the primitives work on one machine in a process");
}

Bench::~Bench() {
  dry_run_.reset();
  if (open_)
    scdb::attach(nullptr);
  there_is_one = false;
}

void Bench::open() {
  static_cast<void>(machine());
  macros();
  static_cast<void>(catalogue());
}

scdb::Machine &Bench::machine() {
  if (!open_) {
    scdb::attach(given_ ? std::move(given_) : scdb::open_machine(source_.machine));
    try {
      if (!source_.state.empty())
        load_state();
    } catch (...) {
      // Nothing works on a machine in another state than the one that is kept, nor keeps that one.
      given_ = scdb::attach(nullptr);
      throw;
    }
    open_ = true;
    info_ = {scdb::machine().name(), scdb::machine().simulated()};
    chips_ = scdb::machine().chips();
  }
  return scdb::machine();
}

void Bench::load_state() {
  // Before anything is done that could not be kept afterwards.
  if (!scdb::machine().save_state())
    throw InputError{Subject::state, fmt::format("{} keeps no state", scdb::machine().name())};
  const std::optional<std::string> text = read_file_if_any(source_.state, Subject::state);
  if (!text)
    return;
  try {
    scdb::machine().load_state(*text);
  } catch (const scdb::MachineError &error) {
    throw InputError{Subject::state, fmt::format("'{}': {}", source_.state, error.what())};
  }
}

const MachineInfo &Bench::machine_info() {
  static_cast<void>(machine());
  return info_;
}

const std::vector<scdb::Chip> &Bench::chips() {
  static_cast<void>(machine());
  return chips_;
}

std::span<const scdb::Macro> Bench::macros() {
  if (!loaded_)
    load_libraries(source_.libraries);
  loaded_ = true;
  return scdb::macros();
}

const Catalogue &Bench::catalogue() {
  if (!catalogue_)
    catalogue_.emplace(source_.catalogue);
  return *catalogue_;
}

RunResult Bench::run(const RunRequest &request, StopToken *stop) {
  static_cast<void>(machine());
  if (!runner_)
    runner_.emplace();
  const std::vector<scdb::OpenRing> before = scdb::open_rings();
  RunResult result = runner_->run(request, stop);
  result.rings = see_to_rings(request.rings, before);
  return result;
}

std::vector<RingLeft> Bench::see_to_rings(OpenRings wanted, std::span<const scdb::OpenRing> before) {
  if (wanted == OpenRings::restore || (wanted == OpenRings::usual && machine_info().simulated))
    return restore_rings(before);
  std::vector<RingLeft> rings;
  for (const scdb::OpenRing &ring : scdb::open_rings()) {
    const bool was_open = std::ranges::find(before, ring) != before.end();
    rings.push_back({ring,
                     wanted == OpenRings::keep ? RingLeft::Fate::kept_open
                     : was_open                ? RingLeft::Fate::still_open
                                               : RingLeft::Fate::left_open,
                     scdb::Reason::none});
  }
  return rings;
}

std::vector<RingLeft> Bench::restore_rings(std::span<const scdb::OpenRing> before) {
  static_cast<void>(machine());
  const std::vector<scdb::OpenRing> open = scdb::open_rings();
  if (open.empty())
    return {};
  const scdb::Outcome outcome = scdb::restore_open_rings();
  const std::vector<scdb::OpenRing> left = scdb::open_rings();
  std::vector<RingLeft> rings;
  for (const scdb::OpenRing &ring : open) {
    if (std::ranges::find(left, ring) == left.end()) {
      rings.push_back({ring, RingLeft::Fate::restored, scdb::Reason::none});
      continue;
    }
    // Of several the primitive library tells why the first was not restored.
    const bool known = !outcome.placed || outcome.place == ring.chip;
    const bool was_open = std::ranges::find(before, ring) != before.end();
    rings.push_back({ring, was_open ? RingLeft::Fate::still_open : RingLeft::Fate::not_restored,
                     known ? outcome.reason : scdb::Reason::none});
  }
  return rings;
}

void Bench::keep_state() {
  if (source_.state.empty() || dry_run_)
    return;
  const std::optional<std::string> text = machine().save_state();
  if (!text)
    throw InputError{Subject::state, fmt::format("{} keeps no state", machine().name())};
  write_file(source_.state, *text, Subject::state);
}

DryRun &Bench::begin_dry_run() {
  static_cast<void>(machine());
  return dry_run_.emplace();
}

}  // namespace engine
