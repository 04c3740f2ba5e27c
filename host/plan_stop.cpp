#include "plan_stop.hpp"

#include <array>
#include <csignal>

namespace host {
namespace {

struct Handled {
  int signal;
  struct sigaction before;
};
std::array<Handled, 3> handled{{{SIGINT, {}}, {SIGTERM, {}}, {SIGPIPE, {}}}};

volatile std::sig_atomic_t stop_asked = 0;

void ask(int /*signal*/) {
  stop_asked = 1;
}

}  // namespace

StopSignals::StopSignals() {
  stop_asked = 0;
  for (Handled &row : handled) {
    struct sigaction action {};
    action.sa_handler = row.signal == SIGPIPE ? SIG_IGN : ask;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigaction(row.signal, &action, &row.before);
  }
}

StopSignals::~StopSignals() {
  for (const Handled &row : handled)
    sigaction(row.signal, &row.before, nullptr);
}

bool StopSignals::asked() {
  return stop_asked != 0;
}

scdb::Reason RunLimit::before(const scdb::Call & /*call*/) {
  if (struck_ == Struck::no && heeds_signals_ && StopSignals::asked())
    struck_ = Struck::asked;
  if (struck_ == Struck::no && timeout_.count() != 0 && Clock::now() - begin_ >= timeout_)
    struck_ = Struck::time;
  return struck_ == Struck::no ? scdb::Reason::none : scdb::Reason::interrupted;
}

}  // namespace host
