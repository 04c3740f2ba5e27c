#include "scdb/session.hpp"

#include <algorithm>
#include <utility>

#include "scdb/context.hpp"

namespace scdb {

constinit Context context;

Machine &machine() {
  if (!context.machine)
    context.machine = open_machine({});
  return *context.machine;
}

std::unique_ptr<Machine> attach(std::unique_ptr<Machine> machine) {
  forget_open_rings();
  return std::exchange(context.machine, std::move(machine));
}

struct Substitute::Before {
  std::unique_ptr<Machine> machine;
  std::vector<KeptRing> kept;
};

Substitute::Substitute(std::unique_ptr<Machine> machine)
    : before_{std::make_unique<Before>(Before{std::exchange(context.machine, std::move(machine)), context.kept})} {}

Substitute::~Substitute() {
  context.machine = std::move(before_->machine);
  context.kept = std::move(before_->kept);
}

void add_observer(Observer &observer) {
  context.observers.push_back(&observer);
}

void remove_observer(Observer &observer) {
  std::erase(context.observers, &observer);
}

void begin_run() {
  _RETURN = 0;
  context.depth = 0;
}

std::vector<OpenRing> open_rings() {
  std::vector<OpenRing> rings;
  rings.reserve(context.kept.size());
  for (const KeptRing &ring : context.kept)
    rings.push_back(ring.where);
  return rings;
}

Outcome restore_open_rings() {
  Outcome first;
  std::erase_if(context.kept, [&first](const KeptRing &ring) {
    const Outcome outcome = machine().write_ring({&ring.where.chip, 1}, ring.where.ring, ring.words);
    if (first.ok())
      first = outcome;
    return outcome.ok();
  });
  return first;
}

void forget_open_rings() {
  context.kept.clear();
}

}  // namespace scdb
