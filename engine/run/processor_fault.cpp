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

sigjmp_buf resume;
Fault caught;

void catch_fault(int signal, siginfo_t *info, void *context) {
  caught = Fault{};
  caught.signal = signal;
  // The kernel sends SI_KERNEL where the processor gave no address, and SI_USER and below for signals of programs.
  if ((signal == SIGSEGV || signal == SIGBUS) && info->si_code > 0 && info->si_code != SI_KERNEL) {
    caught.access = faulting_access(context);
    caught.address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  }
  siglongjmp(resume, 1);
}

/// The handlers, on a stack of their own so that also an exhausted stack is survived; the former ones come back at the
/// end of the scope.
class Handlers {
 public:
  Handlers() {
    stack_t stack{};
    stack.ss_sp = stack_.data();
    stack.ss_size = stack_.size();
    sigaltstack(&stack, &former_stack_);
    struct sigaction action {};
    action.sa_sigaction = catch_fault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < FAULT_SIGNALS.size(); ++i)
      sigaction(FAULT_SIGNALS[i].signal, &action, &former_[i]);
  }
  ~Handlers() {
    for (std::size_t i = 0; i < FAULT_SIGNALS.size(); ++i)
      sigaction(FAULT_SIGNALS[i].signal, &former_[i], nullptr);
    sigaltstack(&former_stack_, nullptr);
  }
  Handlers(const Handlers &) = delete;
  Handlers &operator=(const Handlers &) = delete;

 private:
  static constexpr std::size_t STACK_BYTES = std::size_t{128} << 10;
  static inline std::array<std::byte, STACK_BYTES> stack_;

  stack_t former_stack_{};
  std::array<struct sigaction, FAULT_SIGNALS.size()> former_{};
};

}  // namespace

std::optional<Fault> run_caught(void (*body)(void *), void *context) {
  const Handlers handlers;
  if (sigsetjmp(resume, 1) != 0)
    return caught;
  body(context);
  return std::nullopt;
}

std::string_view title_of_signal(int signal) {
  for (const FaultSignal &row : FAULT_SIGNALS)
    if (row.signal == signal)
      return row.title;
  return "unknown signal";
}

}  // namespace engine
