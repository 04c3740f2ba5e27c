#include "engine/run/stop.hpp"

#include <fmt/format.h>

namespace engine {
namespace {

/// "2", "0.25".
std::string text_of_seconds(StopToken::Duration duration) {
  std::string text = fmt::format("{:.9f}", std::chrono::duration<double>(duration).count());
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.'))
    text.pop_back();
  return text;
}

}  // namespace

scdb::Reason StopToken::before(const scdb::Call & /*call*/) {
  if (!stopped())
    return scdb::Reason::none;
  ++refused_;
  return scdb::Reason::interrupted;
}

bool StopToken::stopped() {
  if (cause_ != StopCause::none)
    return true;
  if (whole_ != nullptr && whole_->stopped()) {
    cause_ = whole_->cause_;
    by_ = whole_->by_;
  } else if (const char *const by = source_ != nullptr ? source_->by() : nullptr; by != nullptr) {
    cause_ = StopCause::asked;
    by_ = by;
  } else if (limit_ && Clock::now() - began_ >= *limit_) {
    cause_ = whole_ != nullptr ? StopCause::own_limit : StopCause::time_limit;
    by_ = fmt::format("the time limit of {} s", text_of_seconds(*limit_));
  }
  return cause_ != StopCause::none;
}

}  // namespace engine
