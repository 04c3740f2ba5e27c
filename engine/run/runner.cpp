#include "engine/run/runner.hpp"

#include <algorithm>

#include "engine/run/guard.hpp"
#include "engine/run/stop.hpp"

namespace engine {
namespace {

/// What a word of _DATA holds that nobody gave: different for each index, so that words copied from elsewhere in the
/// area show as well.
constexpr macro_word background(std::size_t index) {
  return 0xA5C35A3C ^ static_cast<macro_word>(index) * 0x9E3779B1U;
}

/// The areas of one run.
struct Areas {
  explicit Areas(const RunRequest &request)
      : para{"_PARA", std::max(request.para.size(), LEAST_PARA_WORDS)},
        data{"_DATA", std::max<std::size_t>(request.data_words, 1)} {
    std::ranges::copy(request.unit.mring, mring.words().begin());
    std::ranges::copy(request.para, para.words().begin());
    if (request.rw != RW_WRITE)
      for (std::size_t i = 0; i < data.words().size(); ++i)
        data.words()[i] = background(i);
    std::ranges::copy(request.data, data.words().begin());
    before.assign(data.words().begin(), data.words().end());
    mring.protect();
    para.protect();
  }

  [[nodiscard]] std::array<const GuardedArea *, 5> all() const { return {&mring, &para, &data, &err, &exp}; }

  GuardedArea mring{"_MRING", MRING_WORDS};
  GuardedArea para;
  GuardedArea data;
  GuardedArea err{"_ERR", ERROR_RECORD_WORDS};
  GuardedArea exp{"_EXP", EXP_WORDS};
  std::vector<macro_word> before;  ///< _DATA as the macro gets it
};

/// The call itself, as run_caught() wants it; a fault may leave it at any point, so it owns nothing.
struct EntryCall {
  const RunRequest *request;
  Areas *areas;
  int result;

  static void make(void *context) {
    auto *const call = static_cast<EntryCall *>(context);
    const Selection &unit = call->request->unit;
    Areas &areas = *call->areas;
    call->result = call->request->macro->entry(unit.type, unit.number, areas.mring.words().data(), call->request->rw,
                                               areas.para.words().data(), areas.data.words().data(),
                                               areas.err.words().data(), areas.exp.words().data());
  }
};

std::optional<Breach> breach_of(const Fault &fault, const Areas &areas) {
  if (!fault.address)
    return std::nullopt;
  for (const GuardedArea *area : areas.all()) {
    const std::optional<std::ptrdiff_t> index = area->index_of(*fault.address);
    if (!index)
      continue;
    const std::size_t size = area->words().size();
    // Inside an area only a write can fault, whatever the processor tells.
    const bool inside = *index >= 0 && static_cast<std::size_t>(*index) < size;
    return Breach{area->name(), *index, size, inside ? Access::write : fault.access};
  }
  return std::nullopt;
}

std::vector<Breach> underruns_of(const Areas &areas) {
  std::vector<Breach> underruns;
  for (const GuardedArea *area : areas.all())
    if (const std::optional<std::ptrdiff_t> index = area->underrun())
      underruns.push_back({area->name(), *index, area->words().size(), Access::write});
  return underruns;
}

std::vector<std::optional<macro_word>> written_words(const Areas &areas) {
  const std::span<const macro_word> words = areas.data.words();
  std::vector<std::optional<macro_word>> written;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i] == areas.before[i])
      continue;
    written.resize(i + 1);
    written[i] = words[i];
  }
  return written;
}

}  // namespace

MachineInfo current_machine() {
  const scdb::Machine &machine = scdb::machine();
  return {machine.name(), machine.simulated()};
}

RunResult run_macro(const RunRequest &request, Interruption *interruption) {
  Areas areas{request};
  RunResult result;
  result.machine = current_machine();

  CallLog log;
  const scdb::Observing observing{log};
  const unsigned refused_before = interruption != nullptr ? interruption->refused() : 0;
  std::optional<scdb::Observing> interrupting;
  if (interruption != nullptr)
    interrupting.emplace(*interruption);
  scdb::begin_run();
  EntryCall call{.request = &request, .areas = &areas, .result = 0};
  if (const std::optional<Fault> fault = run_caught(EntryCall::make, &call))
    result.crash = Crash{*fault, breach_of(*fault, areas), log.position()};
  else
    result.result = call.result;

  result.status = _RETURN;
  result.calls = log.count();
  // From the first call that was made to fail, all were.
  if (interruption != nullptr && interruption->refused() > refused_before)
    result.stop = Stop{interruption->by(), result.calls - (interruption->refused() - refused_before) + 1};
  std::ranges::copy(areas.err.words(), result.record.begin());
  result.data = written_words(areas);
  result.underruns = underruns_of(areas);
  result.open_rings = scdb::open_rings();
  return result;
}

void restore_open_rings(RunResult &run) {
  if (run.open_rings.empty() || run.crashed_in_primitive())
    return;
  const scdb::Outcome outcome = scdb::restore_open_rings();
  run.restoration = Restoration{outcome, scdb::open_rings()};
}

}  // namespace engine
