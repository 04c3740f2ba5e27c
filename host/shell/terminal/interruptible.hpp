#pragma once

#include <poll.h>
#include <unistd.h>

#include <csignal>

#include "host/names.hpp"

namespace host {

/// While it lives Ctrl-C ends the reading of a line, and not the program.  The signal comes only while somebody waits
/// for a key, so that none is missed between two of them.
class Interruptible {
 public:
  Interruptible() {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    sigprocmask(SIG_BLOCK, &interrupt, &while_waiting_);
    struct sigaction action {};
    action.sa_handler = [](int /*signal*/) { seen_ = 1; };
    sigemptyset(&action.sa_mask);
    seen_ = 0;
    sigaction(SIGINT, &action, &before_);
  }
  ~Interruptible() {
    // One that came meanwhile is still this reading's.
    sigprocmask(SIG_SETMASK, &while_waiting_, nullptr);
    sigaction(SIGINT, &before_, nullptr);
  }
  Interruptible(const Interruptible &) = delete;
  Interruptible &operator=(const Interruptible &) = delete;

  /// Whether there was a Ctrl-C, taken or still to be taken.
  [[nodiscard]] static bool interrupted() {
    sigset_t pending;
    sigpending(&pending);
    return seen_ != 0 || sigismember(&pending, SIGINT) == 1;
  }

  /// Waits until there is something to read.
  /// @return false after Ctrl-C.
  [[nodiscard]] static bool wait_for_key() {
    while (!interrupted()) {
      pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
      if (ppoll(&input, 1, nullptr, &while_waiting_) > 0)
        return true;
    }
    return false;
  }

 private:
  static inline volatile std::sig_atomic_t seen_ = 0;
  static inline sigset_t while_waiting_;
  struct sigaction before_ {};
};

}  // namespace host
