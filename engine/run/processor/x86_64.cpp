#include <ucontext.h>

#include "engine/run/processor_fault.hpp"

namespace engine {

/// Bit 1 of the page-fault error code is set for a write.
Access faulting_access(const void *context) {
  const auto *const machine = static_cast<const ucontext_t *>(context);
  return (machine->uc_mcontext.gregs[REG_ERR] & 2) != 0 ? Access::write : Access::read;
}

}  // namespace engine
