#include <asm/ptrace.h>
#include <ucontext.h>

#include "fault.hpp"

namespace host {

/// Where the processors of this kind note what faulted differs, and emulators note nothing: the instruction tells.
Access faulting_access(const void *context, std::uintptr_t address) {
  constexpr unsigned INDEXED = 31;
  constexpr std::uint32_t INDEXED_STORE = 0x100;
  constexpr unsigned LOAD_MULTIPLE = 46;
  constexpr unsigned FIRST = 32;
  constexpr unsigned LAST = 55;
  constexpr unsigned STORE = 4;

  const std::uintptr_t at = static_cast<const ucontext_t *>(context)->uc_mcontext.uc_regs->gregs[PT_NIP];
  // After a jump to nowhere there is no instruction.  For such an address emulators say 0.
  if (address == at || address == 0)
    return Access::unknown;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): where the processor stood.
  const std::uint32_t instruction = *reinterpret_cast<const std::uint32_t *>(at);
  const unsigned opcode = instruction >> 26;
  if (opcode == INDEXED)
    return (instruction & INDEXED_STORE) != 0 ? Access::write : Access::read;
  if (opcode < FIRST || opcode > LAST)
    return Access::unknown;
  return (opcode & STORE) != 0 && opcode != LOAD_MULTIPLE ? Access::write : Access::read;
}

}  // namespace host
