#pragma once

#include <array>
#include <string>
#include <vector>

#include "engine/run/call_log.hpp"
#include "engine/text/sink.hpp"
#include "scdb/observer.hpp"

namespace engine {

/// Writes one line for each primitive call: number, name, operands, unit and outcome; calls of nested macros are
/// indented below the lmcr_maccall that ran them.
///
///      2  lmcr_jtag t0=all t1=all t2=all kind=0x0 code=0xB1 data=0x0 count=0x1 on cpu:0.0 -> 0x00000012
class Trace : public scdb::Observer {
 public:
  /// @param sink  gets whole lines; it is called while a macro runs, and must not throw.
  explicit Trace(Sink sink) : sink_{std::move(sink)} {}

  [[nodiscard]] scdb::Reason before(const scdb::Call &call) override;
  void after(const scdb::Call &call, const scdb::CallResult &result) override;

  /// Writes the calls of a run that did not return, to be called after it; the next run's calls are numbered anew.
  void end_run() {
    write_pending();
    count_ = 0;
  }

 private:
  void write_pending();

  Sink sink_;
  unsigned count_ = 0;
  std::vector<std::string> pending_;                      ///< lines of the outermost call under way and those below it
  std::array<std::size_t, CallLog::DEPTHS> under_way_{};  ///< for each depth, the index in pending_ of its call
  std::vector<bool> returned_;                            ///< for each line of pending_
};

/// A ring bit address as people write it: "0x3C/197" for a bit, "0x3D/2698+8" for a run of eight.
[[nodiscard]] std::string describe_ring_address(macro_word address);

}  // namespace engine
