#pragma once

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/run/bench.hpp"
#include "scdb/record.hpp"

/// Direct access to the hardware: the primitives called on one chip after another.
namespace engine {

/// One chip that is accessed, and the error record of the access.
struct ChipCall {
  scdb::Chip chip{};
  Selection unit;  ///< this chip alone
  std::array<macro_word, ERROR_RECORD_WORDS> record{};
};

/// Whether the primitives called so far on this chip have all succeeded.
[[nodiscard]] bool succeeded();

/// What an access to one chip gave.
struct Answer {
  std::vector<macro_word> words;
  std::vector<std::string> names;  ///< of the words, where they have such: one for each
  std::string done;                ///< where there are no words, what has been done: "written"
};

/// An access to one chip.  When a primitive fails it comes back at once; its answer is not looked at then.
using ChipAccess = std::function<Answer(ChipCall &call)>;

/// What came of the access to one chip.
struct ChipResult {
  scdb::Chip chip{};
  Answer answer;
  std::optional<scdb::Failure> failure;
};

/// What came of accesses to several chips.
struct AccessResult {
  std::vector<ChipResult> chips;
  std::string stop;  ///< why not every chip was accessed, empty when all were

  [[nodiscard]] bool all_went_well() const;
};

/// Makes an access to one chip after another.  A chip that fails does not keep the others from being accessed; a stop
/// does.
/// @param made  is called after each access that was not stopped.
[[nodiscard]] AccessResult access_chips(Bench &bench, std::span<const scdb::Chip> chips, const ChipAccess &access,
                                        StopToken &stop, const std::function<void()> &made);

}  // namespace engine
