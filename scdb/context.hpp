#pragma once

#include <memory>
#include <vector>

#include "scdb/machine.hpp"
#include "scdb/observer.hpp"
#include "scdb/session.hpp"

namespace scdb {

/// Contents of a ring on one chip, kept between its opening and its closing scan.
struct KeptRing {
  OpenRing where;
  std::vector<macro_word> words;
};

/// The process-wide state of the primitive library.
struct Context {
  std::unique_ptr<Machine> machine;
  std::vector<Observer *> observers;
  std::vector<KeptRing> kept;  ///< in ascending order of `where`
  unsigned depth = 0;          ///< macros running below the one that the host called
};

extern constinit Context context;

/// Finds the chips that a call addresses.  On failure the list has no meaning.
[[nodiscard]] Outcome resolve(const Machine &machine, const Unit &unit, const Triple &triple, ChipList &chips);

}  // namespace scdb
