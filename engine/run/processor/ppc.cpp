#include <asm/ptrace.h>
#include <ucontext.h>
#include <unistd.h>

#include "engine/run/processor_fault.hpp"

namespace engine {
namespace {

/// The instruction at an address, or 0, which is none: after a jump to nowhere the processor stands where no memory is.
/// The system looks at it, since it can do so without another fault.
std::uint32_t instruction_at(std::uintptr_t address) {
  std::uint32_t instruction = 0;
  if (int ends[2]; pipe(ends) == 0) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): where the processor stood.
    if (write(ends[1], reinterpret_cast<const void *>(address), sizeof instruction) != sizeof instruction
        || read(ends[0], &instruction, sizeof instruction) != sizeof instruction)
      instruction = 0;
    close(ends[0]);
    close(ends[1]);
  }
  return instruction;
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

  const std::uint32_t instruction =
      instruction_at(static_cast<const ucontext_t *>(context)->uc_mcontext.uc_regs->gregs[PT_NIP]);
  const unsigned opcode = instruction >> 26;
  if (opcode == INDEXED)
    return (instruction & INDEXED_STORE) != 0 ? Access::write : Access::read;
  if (opcode < FIRST || opcode > LAST)
    return Access::unknown;
  return (opcode & STORE) != 0 && opcode != LOAD_MULTIPLE ? Access::write : Access::read;
}

}  // namespace engine
