#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/names.hpp"
#include "scdb/observer.hpp"

namespace host {

/// Where long work is shown: as a line on standard error when it is a terminal, as lines of JSON there, or nowhere.
enum class ProgressMode : std::uint8_t { automatic, json, none };

/// Reads the value of --progress.
/// @param text   empty for auto.
/// @param taken  whether standard error shows something else, as a trace: auto is none then.
/// @throw InputError
[[nodiscard]] ProgressMode parse_progress_mode(std::string_view text, bool taken);

/// What there is to do.
struct Work {
  std::string title;                               ///< "cp_9A10_0101"
  std::uint64_t runs = 1;                          ///< 1 at the least
  std::optional<std::uint64_t> calls_of_each_run;  ///< primitive calls, where they are known
};

/// Shows how far long work has come: the share done, primitive calls a second, the time left.  It begins to when the
/// work has taken half a second, and shows the latest ten times a second.
class Progress : public scdb::Observer {
 public:
  Progress(ProgressMode mode, Work work);
  /// Ends it as finish() does.
  ~Progress() override;
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  [[nodiscard]] scdb::Reason before(const scdb::Call &call) override;

  /// To be called after each run that came to its end.
  void end_run();
  /// Takes the line from the terminal; to be called before anything else is written.
  void clear();
  /// Takes the line away for good; with JSON, a last line says where the work ended.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;

  void look(Clock::time_point now);
  void show(Clock::time_point now);
  [[nodiscard]] std::optional<double> share() const;
  [[nodiscard]] std::string line(double seconds) const;
  [[nodiscard]] std::string json(double seconds, bool done) const;

  ProgressMode mode_;
  Work work_;
  Clock::time_point began_;
  Clock::time_point shown_;
  Clock::time_point looked_;
  std::uint64_t calls_ = 0;
  std::uint64_t calls_before_run_ = 0;
  std::uint64_t runs_ = 0;
  std::uint64_t next_look_ = 1;  ///< number of the call at which the clock is looked at
  std::uint64_t stride_ = 1;     ///< calls between two looks
  bool on_screen_ = false;
};

}  // namespace host
