#include "engine/run/processor_fault.hpp"

#include <array>
#include <csetjmp>
#include <csignal>
#include <cstddef>

namespace engine {
namespace {

struct FaultSignal {
  int signal;
  std::string_view title;
};
constexpr std::array<FaultSignal, 4> FAULT_SIGNALS{{
    {SIGSEGV, "invalid memory access"},
    {SIGBUS, "bus error"},
    {SIGFPE, "arithmetic error"},
    {SIGILL, "illegal instruction"},
}};

constexpr std::size_t STACK_BYTES = std::size_t{128} << 10;

/// A stack of the handlers' own, so that also an exhausted stack is survived.
std::array<std::byte, STACK_BYTES> handler_stack;
stack_t former_stack;
std::array<struct sigaction, FAULT_SIGNALS.size()> former;

sigjmp_buf resume;
ProcessorFault caught;
volatile std::sig_atomic_t catching = 0;

/// A fault that is not the macro's: the former handler gets it, when the instruction is tried again.
void hand_back(int signal, const siginfo_t *info) {
  for (std::size_t i = 0; i < FAULT_SIGNALS.size(); ++i)
    if (FAULT_SIGNALS[i].signal == signal)
      sigaction(signal, &former[i], nullptr);
  // A signal that a program sent comes only once.
  if (info->si_code <= 0)
    static_cast<void>(raise(signal));
}

void trap(int signal, siginfo_t *info, void *context) {
  if (catching == 0) {
    hand_back(signal, info);
    return;
  }
  catching = 0;
  caught = ProcessorFault{};
  caught.signal = signal;
  // The kernel sends SI_KERNEL where the processor gave no address, and SI_USER and below for signals of programs.
  if ((signal == SIGSEGV || signal == SIGBUS) && info->si_code > 0 && info->si_code != SI_KERNEL) {
    caught.access = faulting_access(context);
    caught.address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  }
  siglongjmp(resume, 1);
}

}  // namespace

FaultTraps::FaultTraps() {
  stack_t stack{};
  stack.ss_sp = handler_stack.data();
  stack.ss_size = handler_stack.size();
  sigaltstack(&stack, &former_stack);
  struct sigaction action {};
  action.sa_sigaction = trap;
  // The signal stays open in its handler, which may never return: then nobody has to open it again.
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < FAULT_SIGNALS.size(); ++i)
    sigaction(FAULT_SIGNALS[i].signal, &action, &former[i]);
}

FaultTraps::~FaultTraps() {
  for (std::size_t i = 0; i < FAULT_SIGNALS.size(); ++i)
    sigaction(FAULT_SIGNALS[i].signal, &former[i], nullptr);
  sigaltstack(&former_stack, nullptr);
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): it takes the traps to be there.
std::optional<ProcessorFault> FaultTraps::catch_faults(void (*body)(void *), void *context) {
  if (sigsetjmp(resume, 0) != 0)
    return caught;
  catching = 1;
  try {
    body(context);
  } catch (...) {
    catching = 0;
    throw;
  }
  catching = 0;
  return std::nullopt;
}

std::string_view title_of_signal(int signal) {
  for (const FaultSignal &row : FAULT_SIGNALS)
    if (row.signal == signal)
      return row.title;
  return "unknown signal";
}

}  // namespace engine
