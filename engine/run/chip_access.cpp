#include "engine/run/chip_access.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "scdb/session.hpp"

namespace engine {
namespace {

ChipResult access_chip(scdb::Chip chip, const ChipAccess &access) {
  ChipCall call{.chip = chip, .unit = {}};
  call.unit.type = scdb::unit_type_of(chip.kind);
  call.unit.number = macro_word{1} << chip.board;
  call.unit.mring[chip.board] = scdb::chip_bit(chip.kind, chip.number);
  scdb::begin_run();
  ChipResult result{chip, access(call), {}};
  if (!succeeded())
    result.failure = scdb::read_failure(call.record);
  return result;
}

}  // namespace

bool succeeded() {
  return _RETURN != MACRO_FAILED;
}

bool AccessResult::all_went_well() const {
  return stop.empty()
         && std::ranges::none_of(chips, [](const ChipResult &result) { return result.failure.has_value(); });
}

AccessResult access_chips(Bench &bench, std::span<const scdb::Chip> chips, const ChipAccess &access, StopToken &stop,
                          const std::function<void()> &made) {
  AccessResult result;
  const scdb::Observing stopping{stop};
  static_cast<void>(bench.machine());
  for (const scdb::Chip chip : chips) {
    result.chips.push_back(access_chip(chip, access));
    if (stop.stopped())
      break;
    made();
  }
  // A chip whose access was cut short has been counted among the results.
  const std::size_t accessed = result.chips.size() - (stop.refused() > 0 ? 1 : 0);
  if (accessed < chips.size())
    result.stop = fmt::format("stopped by {}: {} of {} chips accessed", stop.by(), accessed, chips.size());
  return result;
}

}  // namespace engine
