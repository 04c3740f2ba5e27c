#include <asm/ptrace.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include "fault.hpp"

namespace host {
namespace {

/// Whether there is memory at an address: after a jump to nowhere the processor stands where there is none.
bool is_mapped(std::uintptr_t address) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  // NOLINTNEXTLINE(performance-no-int-to-ptr): asked of the system, not accessed.
  return msync(reinterpret_cast<void *>(address & ~(page - 1)), 1, MS_ASYNC) == 0;
}

}  // namespace

/// Where the processors of this kind note what faulted differs, and emulators note nothing: the instruction tells.
Access faulting_access(const void *context) {
  constexpr unsigned INDEXED = 31;
  constexpr std::uint32_t INDEXED_STORE = 0x100;
  constexpr unsigned LOAD_MULTIPLE = 46;
  constexpr unsigned FIRST = 32;
  constexpr unsigned LAST = 55;
  constexpr unsigned STORE = 4;

  const std::uintptr_t at = static_cast<const ucontext_t *>(context)->uc_mcontext.uc_regs->gregs[PT_NIP];
  if (!is_mapped(at))
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
