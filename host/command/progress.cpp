#include "host/command/progress.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <utility>

#include "engine/text/error.hpp"
#include "host/command/output.hpp"

namespace host {
namespace {

using std::chrono::milliseconds;
using Json = nlohmann::ordered_json;

constexpr milliseconds FIRST{500};
constexpr milliseconds BETWEEN_LINES{100};
/// The clock is looked at about as often as this, however fast the calls are.
constexpr milliseconds LOOK{10};
constexpr std::uint64_t LONGEST_STRIDE = 256;

/// Goes to the beginning of the line and empties it.
constexpr const char *EMPTY_LINE = "\r\x1b[K";

/// Standard error that shows a line again and again on one place.
bool is_terminal() {
  const char *const terminal = std::getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && terminal != nullptr && std::string_view{terminal} != "dumb";
}

/// "45 s", "2 min 05 s", "3 h 20 min".
std::string text_of_time(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::llround(seconds));
  if (whole < 60)
    return fmt::format("{} s", whole);
  if (whole < 3600)
    return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min", whole / 3600, whole / 60 % 60);
}

double seconds_between(std::chrono::steady_clock::time_point from, std::chrono::steady_clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

}  // namespace

ProgressMode parse_progress_mode(std::string_view text, bool taken) {
  if (text.empty() || text == "auto")
    return taken ? ProgressMode::none : ProgressMode::automatic;
  if (text == "json")
    return ProgressMode::json;
  if (text == "none")
    return ProgressMode::none;
  throw InputError(fmt::format("--progress: there is no '{}'; give auto, json or none", text));
}

Progress::Progress(ProgressMode mode, Work work)
    : mode_{mode == ProgressMode::automatic && !is_terminal() ? ProgressMode::none : mode},
      work_{std::move(work)},
      began_{Clock::now()},
      shown_{began_ + FIRST - BETWEEN_LINES},
      looked_{began_} {}

Progress::~Progress() {
  finish();
}

scdb::Reason Progress::before(const scdb::Call & /*call*/) {
  if (++calls_ >= next_look_ && mode_ != ProgressMode::none)
    look(Clock::now());
  return scdb::Reason::none;
}

void Progress::end_run() {
  ++runs_;
  calls_before_run_ = calls_;
  if (runs_ < work_.runs && mode_ != ProgressMode::none)
    look(Clock::now());
}

/// Between looks there are as many calls as take about the time of LOOK.
void Progress::look(Clock::time_point now) {
  stride_ = now - looked_ < LOOK ? std::min(stride_ * 2, LONGEST_STRIDE) : std::max<std::uint64_t>(stride_ / 2, 1);
  next_look_ = calls_ + stride_;
  looked_ = now;
  if (now - shown_ >= BETWEEN_LINES)
    show(now);
}

void Progress::show(Clock::time_point now) {
  shown_ = now;
  const double seconds = seconds_between(began_, now);
  if (mode_ == ProgressMode::json) {
    write_error(json(seconds, false) + "\n");
  } else {
    write_error(fmt::format("{}{}", EMPTY_LINE, line(seconds)));
    on_screen_ = true;
  }
}

void Progress::clear() {
  if (!std::exchange(on_screen_, false))
    return;
  write_error(EMPTY_LINE);
}

void Progress::finish() {
  clear();
  if (std::exchange(mode_, ProgressMode::none) == ProgressMode::json)
    write_error(json(seconds_between(began_, Clock::now()), true) + "\n");
}

/// Of the run under way, its calls count where it is known how many it makes.
std::optional<double> Progress::share() const {
  auto done = static_cast<double>(runs_);
  if (work_.calls_of_each_run.value_or(0) != 0 && runs_ < work_.runs)
    done +=
        std::min(static_cast<double>(calls_ - calls_before_run_) / static_cast<double>(*work_.calls_of_each_run), 1.0);
  else if (work_.runs == 1 && runs_ == 0)
    return std::nullopt;
  return std::min(done / static_cast<double>(work_.runs), 1.0);
}

std::string Progress::line(double seconds) const {
  std::string text = work_.title;
  const std::optional<double> done = share();
  if (done)
    text += fmt::format("  {:.0f} %", *done * 100);
  if (work_.runs > 1)
    text += fmt::format("  run {} of {}", std::min(runs_ + 1, work_.runs), work_.runs);
  text += fmt::format("  {} calls, {:.0f}/s", calls_, static_cast<double>(calls_) / seconds);
  if (done && *done > 0)
    text += fmt::format("  {} left", text_of_time(seconds * (1 - *done) / *done));
  return text;
}

std::string Progress::json(double seconds, bool done) const {
  const std::optional<double> part = share();
  return Json{{"progress",
               {{"title", work_.title},
                {"done", done},
                {"share", part ? Json(*part) : Json(nullptr)},
                {"runs", runs_},
                {"runs_total", work_.runs},
                {"calls", calls_},
                {"calls_per_second", seconds > 0 ? Json(static_cast<double>(calls_) / seconds) : Json(nullptr)},
                {"seconds", seconds},
                {"seconds_left", part && *part > 0 ? Json(seconds * (1 - *part) / *part) : Json(nullptr)}}}}
      .dump();
}

}  // namespace host
