#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "support/support.hpp"

/// The table behind the failure loop: at least one row for every macro of the library.
namespace cases {

/// What a macro may still do after a failed primitive: told the line of the failed call and the lines after it, whether
/// they are as the macro's rule has them.
using AfterFailure = std::function<bool(const std::string &failed, std::span<const std::string> later)>;

/// Most macros: nothing at all.
inline bool stops(const std::string & /*failed*/, std::span<const std::string> later) {
  return later.empty();
}

/// One run whose every primitive call is made to fail in turn.
struct Case {
  support::RunInput input = {};
  scdb::ChipKind kind = scdb::ChipKind::cpu;
  AfterFailure after = stops;
  /// The description of the server that the macro runs on.
  std::string server = R"(base = "default")";
  /// Whether the macro's result is -1 when a call fails; one macro returns the value of its last access instead.
  bool result_tells = true;
  /// Whether _DATA after a failure that shows holds exactly what the undisturbed run had stored before the call that
  /// failed.
  bool data_stays = true;
  /// Whether the failure of a call of this line shows in the status cell; false only where a macro clears it on
  /// purpose.
  std::function<bool(const std::string &failed)> fails = [](const std::string &) { return true; };
  /// Whether the macro reads back all that it writes: a lost write or a wrong answer fails the run with sub-code -4.
  bool proves = false;
  /// Whether the macro goes on until the hardware gives a certain answer, without end when it never does.
  bool endless = false;
};

}  // namespace cases
