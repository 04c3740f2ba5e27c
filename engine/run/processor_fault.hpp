#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace engine {

/// What the program did with memory when it faulted.
enum class Access : std::uint8_t { unknown, read, write };

/// A fault that the processor reported.
struct ProcessorFault {
  int signal = 0;
  Access access = Access::unknown;
  /// The address that was accessed; nothing where the processor does not tell.
  std::optional<std::uintptr_t> address;
};

/// While it lives faults can be caught.  One that happens outside of catch_faults() goes to the handler of before, as
/// if there were no traps.  There is one at a time.
class FaultTraps {
 public:
  FaultTraps();
  ~FaultTraps();
  FaultTraps(const FaultTraps &) = delete;
  FaultTraps &operator=(const FaultTraps &) = delete;

  /// Calls `body(context)` and comes back also when it makes an invalid memory access, runs out of stack, divides by
  /// zero or meets an illegal instruction.  It makes no system call where none of that happens.
  ///
  /// What `body` had begun is then left as it stands, and no destructor of it runs: it must own nothing.  Calls must
  /// not be nested.
  [[nodiscard]] std::optional<ProcessorFault> catch_faults(void (*body)(void *), void *context);
};

/// "invalid memory access" and the like.
[[nodiscard]] std::string_view title_of_signal(int signal);

/// Whether a memory access that faulted read or wrote.  Each processor says it in its own place of the signal's
/// machine context; one source of processor/ supplies this.
/// @param context  what a signal handler receives, a ucontext_t.
[[nodiscard]] Access faulting_access(const void *context);

}  // namespace engine
