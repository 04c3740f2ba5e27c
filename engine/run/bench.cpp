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
    } catch (const InputError &) {
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
  RunResult result = runner_->run(request, stop);
  see_to_rings(request, result);
  return result;
}

void Bench::see_to_rings(const RunRequest &request, RunResult &run) {
  const std::vector<scdb::OpenRing> open = scdb::open_rings();
  if (open.empty())
    return;
  const bool restore =
      request.rings == OpenRings::restore || (request.rings == OpenRings::usual && machine_info().simulated);
  scdb::Outcome outcome;
  if (restore)
    outcome = scdb::restore_open_rings();
  const std::vector<scdb::OpenRing> still_open = scdb::open_rings();
  for (const scdb::OpenRing &ring : open) {
    const bool left = std::ranges::find(still_open, ring) != still_open.end();
    if (!left)
      run.rings.push_back({ring, RingLeft::Fate::restored, scdb::Reason::none});
    else if (restore)
      run.rings.push_back({ring, RingLeft::Fate::not_restored, outcome.reason});
    else
      run.rings.push_back({ring,
                           request.rings == OpenRings::keep ? RingLeft::Fate::kept_open : RingLeft::Fate::left_open,
                           scdb::Reason::none});
  }
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
