#include "engine/run/stop.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstddef>

#include "engine/text/error.hpp"

namespace engine {
namespace {

constexpr double LEAST_SECONDS = 1e-9;
constexpr double MOST_SECONDS_OF_A_RUN = 1e6;

struct StopSignal {
  int signal;
  StopCause cause;
};
constexpr std::array<StopSignal, 2> STOP_SIGNALS{{{SIGINT, StopCause::ctrl_c}, {SIGTERM, StopCause::terminate}}};

/// The signal that came, 0 for none.
volatile std::sig_atomic_t arrived = 0;

void note(int signal) {
  arrived = signal;
}

/// How many interruptions live; the outermost sets up the handlers.
unsigned living = 0;
std::array<struct sigaction, STOP_SIGNALS.size()> former;

void set_up_handlers() {
  arrived = 0;
  struct sigaction action {};
  action.sa_handler = note;
  // Once, so that the second one does what it always does; and nobody's input or output is cut short.
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < STOP_SIGNALS.size(); ++i) {
    sigaction(STOP_SIGNALS[i].signal, nullptr, &former[i]);
    // What the caller wants ignored, as nohup does, stays ignored.
    if (former[i].sa_handler != SIG_IGN)
      sigaction(STOP_SIGNALS[i].signal, &action, nullptr);
  }
}

void restore_handlers() {
  for (std::size_t i = 0; i < STOP_SIGNALS.size(); ++i)
    sigaction(STOP_SIGNALS[i].signal, &former[i], nullptr);
}

StopCause cause_of(int signal) {
  for (const StopSignal &row : STOP_SIGNALS)
    if (row.signal == signal)
      return row.cause;
  return StopCause::none;
}

/// "2", "0.25".
std::string text_of_seconds(Interruption::Duration duration) {
  std::string text = fmt::format("{:.9f}", std::chrono::duration<double>(duration).count());
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.'))
    text.pop_back();
  return text;
}

}  // namespace

Interruption::Interruption(std::optional<Duration> limit, Heeds heeds) : limit_{limit}, heeds_{heeds} {
  if (living++ == 0)
    set_up_handlers();
}

Interruption::~Interruption() {
  if (--living == 0)
    restore_handlers();
}

scdb::Reason Interruption::before(const scdb::Call & /*call*/) {
  if (!stopped())
    return scdb::Reason::none;
  ++refused_;
  return scdb::Reason::interrupted;
}

bool Interruption::stopped() {
  if (cause_ == StopCause::none && heeds_ == Heeds::signals && arrived != 0)
    cause_ = cause_of(arrived);
  else if (cause_ == StopCause::none && limit_ && Clock::now() - began_ >= *limit_)
    cause_ = StopCause::time_limit;
  return cause_ != StopCause::none;
}

std::optional<Interruption::Duration> Interruption::left() const {
  if (!limit_)
    return std::nullopt;
  return std::max(*limit_ - Duration{Clock::now() - began_}, Duration{1});
}

std::string Interruption::by() const {
  switch (cause_) {
    case StopCause::ctrl_c:
      return "Ctrl-C";
    case StopCause::terminate:
      return "SIGTERM";
    case StopCause::time_limit:
      return fmt::format("the time limit of {} s", text_of_seconds(*limit_));
    case StopCause::none:
      break;
  }
  return {};
}

std::optional<Interruption::Duration> parse_time_limit(std::string_view text, std::string_view what) {
  if (text.empty())
    return std::nullopt;
  double seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  // Written so that what is no number is refused too.
  if (error != std::errc{} || end != text.data() + text.size()
      || !(seconds >= LEAST_SECONDS && seconds <= MOST_SECONDS_OF_A_RUN))
    throw InputError(fmt::format("{}: '{}' is no time; give seconds, more than 0 and up to {:.0f}", what, text,
                                 MOST_SECONDS_OF_A_RUN));
  return std::chrono::duration_cast<Interruption::Duration>(std::chrono::duration<double>(seconds));
}

}  // namespace engine
