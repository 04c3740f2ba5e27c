#include "scdb/observer.hpp"

#include "scdb/primitives/perform.hpp"

namespace scdb {

Observer::~Observer() = default;

Reason Observer::before(const Call & /*call*/) {
  return Reason::none;
}

void Observer::after(const Call & /*call*/, const CallResult & /*result*/) {}

Reason ask_observers(const Call &call) {
  for (Observer *observer : context.observers)
    if (const Reason reason = observer->before(call); reason != Reason::none)
      return reason;
  return Reason::none;
}

void tell_observers(const Call &call, const CallResult &result) {
  for (Observer *observer : context.observers)
    observer->after(call, result);
}

}  // namespace scdb
