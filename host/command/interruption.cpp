#include "host/command/interruption.hpp"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstddef>

#include "engine/text/error.hpp"

namespace host {
namespace {

constexpr double LEAST_SECONDS = 1e-9;
constexpr double MOST_SECONDS_OF_A_RUN = 1e6;

struct StopSignal {
  int signal;
  const char *name;
};
constexpr std::array<StopSignal, 2> STOP_SIGNALS{{{SIGINT, "Ctrl-C"}, {SIGTERM, "SIGTERM"}}};

constinit StopSource stops;

void ask_for_a_stop(int signal) {
  for (const StopSignal &row : STOP_SIGNALS)
    if (row.signal == signal)
      stops.ask(row.name);
}

/// How many interruptions live; the outermost sets up the handlers.
unsigned living = 0;
std::array<struct sigaction, STOP_SIGNALS.size()> former_actions;

void set_up_handlers() {
  stops.clear();
  struct sigaction action {};
  action.sa_handler = ask_for_a_stop;
  // Once, so that the second one does what it always does; and nobody's input or output is cut short.
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < STOP_SIGNALS.size(); ++i) {
    sigaction(STOP_SIGNALS[i].signal, nullptr, &former_actions[i]);
    // What the caller wants ignored, as nohup does, stays ignored.
    if (former_actions[i].sa_handler != SIG_IGN)
      sigaction(STOP_SIGNALS[i].signal, &action, nullptr);
  }
}

}  // namespace

Interruption::Interruption() {
  if (living++ == 0)
    set_up_handlers();
}

Interruption::~Interruption() {
  if (--living == 0)
    for (std::size_t i = 0; i < STOP_SIGNALS.size(); ++i)
      sigaction(STOP_SIGNALS[i].signal, &former_actions[i], nullptr);
}

const StopSource &Interruption::source() {
  return stops;
}

std::optional<StopToken::Duration> parse_time_limit(std::string_view text, std::string_view what) {
  if (text.empty())
    return std::nullopt;
  double seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  // Written so that what is no number is refused too.
  if (error != std::errc{} || end != text.data() + text.size()
      || !(seconds >= LEAST_SECONDS && seconds <= MOST_SECONDS_OF_A_RUN))
    throw InputError(fmt::format("{}: '{}' is no time; give seconds, more than 0 and up to {:.0f}", what, text,
                                 MOST_SECONDS_OF_A_RUN));
  return std::chrono::duration_cast<StopToken::Duration>(std::chrono::duration<double>(seconds));
}

}  // namespace host
