#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "scdb/observer.hpp"

namespace engine {

/// What makes runs end before their time.
enum class StopCause : std::uint8_t { none, ctrl_c, terminate, time_limit };

/// While it lives, Ctrl-C and SIGTERM do not end the program: the next primitive call fails instead, and so does every
/// later one, as when the time limit has passed.  A second signal of the same kind ends the program at once.
///
/// It must be the last of the observers, so that those before it see the calls that it makes fail.  It may be nested:
/// an inner one stops for the same signals, and has a time limit of its own.
class Interruption : public scdb::Observer {
 public:
  using Duration = std::chrono::nanoseconds;
  enum class Heeds : std::uint8_t { signals, time_alone };

  /// @param limit  how long from now on; nothing for no limit.
  /// @param heeds  whether signals stop it too; work that puts things in order is stopped by its time limit alone.
  explicit Interruption(std::optional<Duration> limit = std::nullopt, Heeds heeds = Heeds::signals);
  ~Interruption() override;
  Interruption(const Interruption &) = delete;
  Interruption &operator=(const Interruption &) = delete;

  [[nodiscard]] scdb::Reason before(const scdb::Call &call) override;

  /// Whether no further call is to be made.  Once it is so, it stays so.
  [[nodiscard]] bool stopped();
  [[nodiscard]] StopCause cause() const { return cause_; }
  /// How much of the time limit is left, above 0; nothing without a limit.
  [[nodiscard]] std::optional<Duration> left() const;
  /// "Ctrl-C", "the time limit of 2 s"; to be asked for when stopped.
  [[nodiscard]] std::string by() const;
  /// How many calls it has made fail.
  [[nodiscard]] unsigned refused() const { return refused_; }

 private:
  using Clock = std::chrono::steady_clock;

  std::optional<Duration> limit_;
  Heeds heeds_;
  Clock::time_point began_ = Clock::now();
  StopCause cause_ = StopCause::none;
  unsigned refused_ = 0;
};

/// Reads a time limit: seconds, with a decimal fraction where wanted.
/// @param text  empty for none.
/// @param what  what the message calls it, "--timeout".
/// @throw InputError for what is not above 0, or more than a million.
[[nodiscard]] std::optional<Interruption::Duration> parse_time_limit(std::string_view text, std::string_view what);

}  // namespace engine
