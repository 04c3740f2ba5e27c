#pragma once

#include <chrono>
#include <optional>

#include "scdb/observer.hpp"

namespace host {

/// While it lives, Ctrl-C (SIGINT) and SIGTERM ask for a stop, and a second one of either ends the program as usual.  A
/// reader of standard output that goes away is an error of the next write.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals &) = delete;
  StopSignals &operator=(const StopSignals &) = delete;

  /// Whether a stop has been asked for.
  [[nodiscard]] static bool asked();
};

/// Ends runs: once a stop has been asked for, or the time of the run is up, its next primitive call fails with
/// Reason::interrupted, and those after it.
class RunLimit : public scdb::Observer {
 public:
  enum class Struck : std::uint8_t { no, asked, time };

  /// @param timeout  0 = none.
  /// @param heeds_signals  false for what has to run in any case.
  RunLimit(std::chrono::milliseconds timeout, bool heeds_signals) : timeout_{timeout}, heeds_signals_{heeds_signals} {}

  [[nodiscard]] scdb::Reason before(const scdb::Call &call) override;

  /// Why calls failed.
  [[nodiscard]] Struck struck() const { return struck_; }

 private:
  using Clock = std::chrono::steady_clock;

  std::chrono::milliseconds timeout_;
  bool heeds_signals_;
  Clock::time_point begin_ = Clock::now();
  Struck struck_ = Struck::no;
};

}  // namespace host
