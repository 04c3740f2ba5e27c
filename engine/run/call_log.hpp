#pragma once

#include <array>

#include "scdb/observer.hpp"

namespace engine {

/// The primitive call at which a run stands: the one being made, or the one made last.
struct CallPosition {
  unsigned number = 0;  ///< from 1 in the order in which the calls were begun; 0 = none was made
  scdb::Primitive primitive{};
  bool finished = false;  ///< whether the primitive has returned
};

/// Counts the primitive calls of a run and keeps the latest, without allocating: it is read after a fault.
class CallLog : public scdb::Observer {
 public:
  /// Deeper than macros can be nested.
  static constexpr std::size_t DEPTHS = 80;

  [[nodiscard]] scdb::Reason before(const scdb::Call &call) override {
    position_ = {.number = ++count_, .primitive = call.primitive, .finished = false};
    if (call.depth < numbers_.size())
      numbers_[call.depth] = count_;
    return scdb::Reason::none;
  }

  /// After a nested macro the latest call is the lmcr_maccall that ran it.
  void after(const scdb::Call &call, const scdb::CallResult & /*result*/) override {
    const unsigned number = call.depth < numbers_.size() ? numbers_[call.depth] : count_;
    position_ = {.number = number, .primitive = call.primitive, .finished = true};
  }

  [[nodiscard]] unsigned count() const { return count_; }
  [[nodiscard]] const CallPosition &position() const { return position_; }

 private:
  unsigned count_ = 0;
  CallPosition position_;
  std::array<unsigned, DEPTHS> numbers_{};  ///< the number of the call under way at each depth
};

}  // namespace engine
