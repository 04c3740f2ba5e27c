#include "cpu/clock_macros.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AEC_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The second half of a reload: brings the clocks into phase, clears errors and, unless _PARA[0] has its highest bit
/// set, lets the core go.
struct ReloadAfterReset : cpu::ClockFrame {
  int run() const {
    return ended(align_clocks() && step(cpu::MACRO_DEBUG_STOP) && clear_errors()
                 && step(cpu::MACRO_CORE_GO, _PARA[0] & cpu::LEAVE_CORE_HELD));
  }
};

}  // namespace

MACRO_ENTRY(cp_9AEC_0101, ReloadAfterReset)
