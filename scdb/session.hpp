#pragma once

#include <memory>
#include <vector>

#include "scdb/machine.hpp"
#include "scdb/observer.hpp"

/// What a host does with the primitive library besides running macros.  Like the primitives themselves these functions
/// work on process-wide state without locking.
namespace scdb {

/// The machine that the primitives work on.  The first use opens the default machine.
[[nodiscard]] SCDB_API Machine &machine();

/// Puts another machine behind the primitives and gives back the one before it (null if there was none).  Contents kept
/// for open rings belong to the old machine and are forgotten.
SCDB_API std::unique_ptr<Machine> attach(std::unique_ptr<Machine> machine);

/// Another machine behind the primitives for the length of a scope, with the same rings open.  Afterwards the machine
/// of before is back, and with it the contents kept for its open rings.
class SCDB_API Substitute {
 public:
  explicit Substitute(std::unique_ptr<Machine> machine);
  ~Substitute();
  Substitute(const Substitute &) = delete;
  Substitute &operator=(const Substitute &) = delete;

 private:
  struct Before;
  std::unique_ptr<Before> before_;
};

/// Adds an observer; it must outlive its removal.  Observers are asked in the order in which they were added.
SCDB_API void add_observer(Observer &observer);
SCDB_API void remove_observer(Observer &observer);

/// An observer for the length of a scope.
class [[nodiscard]] Observing {
 public:
  explicit Observing(Observer &observer) : observer_{observer} { add_observer(observer_); }
  ~Observing() { remove_observer(observer_); }
  Observing(const Observing &) = delete;
  Observing &operator=(const Observing &) = delete;

 private:
  Observer &observer_;
};

/// To be called before each run: clears the status cell, and the nesting depth that a run left by a signal may have
/// left behind.  Rings stay as they are.
SCDB_API void begin_run();

/// A ring that was opened by a scan of mode 128 and not closed by one of mode 129.
struct OpenRing {
  Chip chip{};
  unsigned ring = 0;
  friend constexpr auto operator<=>(const OpenRing &, const OpenRing &) = default;
};

/// All open rings, in ascending order.
[[nodiscard]] SCDB_API std::vector<OpenRing> open_rings();

/// Puts the kept contents of every open ring back.  Rings that cannot be restored stay open; the first failure is
/// returned when all have been tried.
SCDB_API Outcome restore_open_rings();

/// Forgets what is kept for open rings without touching the machine.
SCDB_API void forget_open_rings();

}  // namespace scdb
