#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "scdb/observer.hpp"

namespace engine {

/// Where a client asks for a stop: from a signal handler, or from another thread.
class StopSource {
 public:
  /// @param by  who asks, "Ctrl-C"; must live on.
  void ask(const char *by) noexcept { by_.store(by); }
  /// Who asked; null when nobody has.
  [[nodiscard]] const char *by() const noexcept { return by_.load(); }
  void clear() noexcept { by_.store(nullptr); }

 private:
  std::atomic<const char *> by_{nullptr};
  static_assert(std::atomic<const char *>::is_always_lock_free, "signal handlers write it");
};

/// What makes runs end before their time.
enum class StopCause : std::uint8_t {
  none,
  asked,       ///< somebody asked for it
  time_limit,  ///< the time for all the work is over
  own_limit,   ///< the time for this part of the work is over; what follows is made
};

/// Stops a run: once somebody has asked for it or the time limit has passed, the next primitive call fails, and so does
/// every later one.  As an observer it must be the last one, so that those before it see the calls that it makes fail.
class StopToken : public scdb::Observer {
 public:
  using Duration = std::chrono::nanoseconds;

  /// @param source  where a stop may be asked for; null: nowhere.  Must outlive it.
  /// @param limit   how long from now on; nothing for no limit.
  explicit StopToken(const StopSource *source, std::optional<Duration> limit = std::nullopt)
      : source_{source}, limit_{limit} {}

  /// For a part of the work: it stops with the whole, and has a time limit of its own.
  /// @param whole  must outlive it.
  StopToken(StopToken &whole, std::optional<Duration> limit) : whole_{&whole}, limit_{limit} {}

  [[nodiscard]] scdb::Reason before(const scdb::Call &call) override;

  /// Whether no further call is to be made.  Once it is so, it stays so.
  [[nodiscard]] bool stopped();
  [[nodiscard]] StopCause cause() const { return cause_; }
  /// "Ctrl-C", "the time limit of 2 s"; empty as long as it is not stopped.
  [[nodiscard]] const std::string &by() const { return by_; }
  /// How many calls it has made fail.
  [[nodiscard]] unsigned refused() const { return refused_; }

 private:
  using Clock = std::chrono::steady_clock;

  const StopSource *source_ = nullptr;
  StopToken *whole_ = nullptr;
  std::optional<Duration> limit_;
  Clock::time_point began_ = limit_ ? Clock::now() : Clock::time_point{};
  StopCause cause_ = StopCause::none;
  std::string by_;
  unsigned refused_ = 0;
};

}  // namespace engine
