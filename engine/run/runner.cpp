#include "engine/run/runner.hpp"

#include <algorithm>
#include <tuple>

namespace engine {
namespace {

/// What a word of _DATA holds that nobody gave: different for each index, so that words copied from elsewhere in the
/// area show as well.
constexpr macro_word background(std::size_t index) {
  return 0xA5C35A3C ^ static_cast<macro_word>(index) * 0x9E3779B1U;
}

/// Areas of _DATA of up to so many bytes serve other runs as well.
constexpr std::size_t LARGEST_KEPT = std::size_t{1} << 20;

/// What a word of _DATA holds before the run.
macro_word before_run(const RunRequest &request, std::size_t index) {
  if (index < request.data.size())
    return request.data[index];
  return request.rw == RW_WRITE ? 0 : background(index);
}

DataWords written_words(const RunRequest &request, std::span<const macro_word> words) {
  std::size_t size = words.size();
  while (size != 0 && words[size - 1] == before_run(request, size - 1))
    --size;
  DataWords written(size);
  for (std::size_t i = 0; i < size; ++i)
    if (words[i] != before_run(request, i))
      written[i] = words[i];
  return written;
}

}  // namespace

/// The call itself, as catch_faults() wants it; a fault may leave it at any point, so it owns nothing.
struct Runner::EntryCall {
  const RunRequest *request;
  Runner *runner;
  int result;

  static void make(void *context) {
    auto *const call = static_cast<EntryCall *>(context);
    const Selection &unit = call->request->unit;
    const Runner &runner = *call->runner;
    call->result = call->request->macro->entry(unit.type, unit.number, runner.mring_.address(), call->request->rw,
                                               runner.para_->address(), runner.data_->address(), runner.err_.address(),
                                               runner.exp_.address());
  }
};

Runner::Runner() = default;
Runner::~Runner() = default;

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the areas are this runner's.
GuardedArea &Runner::area_of(std::map<std::size_t, GuardedArea> &areas, std::string_view name, std::size_t words,
                             AreaUse use) {
  const std::size_t bytes = GuardedArea::bytes_for(words);
  const auto found = areas.find(bytes);
  if (found == areas.end())
    return areas.emplace(std::piecewise_construct, std::tuple{bytes}, std::tuple{name, words, use}).first->second;
  found->second.resize(words);
  return found->second;
}

void Runner::fill(const RunRequest &request) {
  para_ = &area_of(para_areas_, "_PARA", std::max(request.para.size(), LEAST_PARA_WORDS), AreaUse::read);
  data_ = &area_of(data_areas_, "_DATA", std::max<std::size_t>({request.data_words, request.data.size(), 1}),
                   AreaUse::read_and_write);
  mring_.open();
  para_->open();
  std::ranges::copy(request.unit.mring, mring_.words().begin());
  const std::span<macro_word> para = para_->words();
  std::ranges::fill(std::ranges::copy(request.para, para.begin()).out, para.end(), 0);
  mring_.seal();
  para_->seal();
  const std::span<macro_word> data = data_->words();
  for (std::size_t i = 0; i < data.size(); ++i)
    data[i] = before_run(request, i);
  std::ranges::fill(err_.words(), 0);
  std::ranges::fill(exp_.words(), 0);
}

std::optional<Breach> Runner::breach_of(const ProcessorFault &fault) {
  if (!fault.address)
    return std::nullopt;
  for (const GuardedArea *area : areas()) {
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

std::vector<Breach> Runner::underruns() {
  std::vector<Breach> underruns;
  for (GuardedArea *area : areas())
    if (const std::optional<std::ptrdiff_t> index = area->take_underrun())
      underruns.push_back({area->name(), *index, area->words().size(), Access::write});
  return underruns;
}

RunResult Runner::run(const RunRequest &request, StopToken *stop) {
  fill(request);
  RunResult result;

  CallLog log;
  const scdb::Observing observing{log};
  const unsigned refused_before = stop != nullptr ? stop->refused() : 0;
  std::optional<scdb::Observing> stopping;
  if (stop != nullptr)
    stopping.emplace(*stop);
  scdb::begin_run();
  EntryCall call{.request = &request, .runner = this, .result = 0};
  if (const std::optional<ProcessorFault> fault = traps_.catch_faults(EntryCall::make, &call))
    result.crash = Crash{*fault, breach_of(*fault), log.position()};
  else
    result.result = call.result;

  result.status = _RETURN;
  result.calls = log.count();
  // From the first call that was made to fail, all were.
  if (stop != nullptr && stop->refused() > refused_before)
    result.stop = Stop{stop->by(), result.calls - (stop->refused() - refused_before) + 1, stop->cause()};
  std::ranges::copy(err_.words(), result.record.begin());
  result.data = written_words(request, data_->words());
  result.underruns = underruns();
  // What is larger than any macro needs was asked for once.
  if (data_->bytes() > LARGEST_KEPT)
    data_areas_.erase(data_->bytes());
  return result;
}

}  // namespace engine
