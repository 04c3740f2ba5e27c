#pragma once

#include <optional>
#include <string>
#include <vector>

#include "scdb/session.hpp"

namespace engine {

/// A write that would have reached the hardware.
struct PlannedWrite {
  std::string where;                         ///< the chip, "cpu:0.0"; for a macro that the machine offers, its unit
  std::optional<scdb::Primitive> primitive;  ///< the call that made it; nothing where an open ring was put back
  std::string what;                          ///< "code 0xB0"
  std::optional<macro_word> before;          ///< what stood there, where it is known
  std::vector<macro_word> words;             ///< what is written
};

/// While it lives, the primitives work on a copy of the machine, and every write is noted with the chip that it
/// reaches.  Then the machine is behind them again, as it was, and the rings that were open are open.
class DryRun {
 public:
  /// @throw InputError when the machine cannot be copied.
  DryRun();
  ~DryRun();
  DryRun(const DryRun &) = delete;
  DryRun &operator=(const DryRun &) = delete;

  [[nodiscard]] const std::vector<PlannedWrite> &writes() const { return writes_; }

 private:
  /// Knows which primitive is under way.
  class CurrentCall : public scdb::Observer {
   public:
    [[nodiscard]] scdb::Reason before(const scdb::Call &call) override {
      primitive = call.primitive;
      return scdb::Reason::none;
    }
    void after(const scdb::Call &call, const scdb::CallResult & /*result*/) override {
      if (call.depth == 0)
        primitive.reset();
    }
    std::optional<scdb::Primitive> primitive;
  };
  class Copy;

  std::vector<PlannedWrite> writes_;
  CurrentCall call_;
  std::optional<scdb::Substitute> machine_;
  std::optional<scdb::Observing> observing_;
};

}  // namespace engine
