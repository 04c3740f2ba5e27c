#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "scdb/access.hpp"
#include "scdb/context.hpp"
#include "scdb/record.hpp"

/// What every primitive has in common: observers are asked and told, a failure goes into the status cell and the error
/// record, and the result of a failed primitive is 0.
namespace scdb {

/// Whom a primitive tells of its failure.
struct Report {
  macro_word *ret;      ///< status cell; null means the process-wide one
  macro_word *err;      ///< error record, or null
  macro_word code = 0;  ///< word 2 of the record
};

inline void report(const Report &to, Primitive primitive, const Outcome &outcome) {
  *(to.ret != nullptr ? to.ret : &_RETURN) = MACRO_FAILED;
  write_failure(to.err, {primitive, to.code, outcome});
}

/// The first observer that makes a call fail decides the reason.
[[nodiscard]] Reason ask_observers(const Call &call);
void tell_observers(const Call &call, const CallResult &result);

/// Runs the body of a primitive: `Outcome body(macro_word &value)`.  Observers are told of it by what `describe()`
/// gives, which is called only when somebody observes: most accesses should not pay for their description.
template <class Describe, class Body>
CallResult perform(Primitive primitive, const Report &to, Describe &&describe, Body &&body) {
  CallResult result;
  if (context.observers.empty()) [[likely]] {
    result.outcome = body(result.value);
    if (!result.outcome.ok()) [[unlikely]] {
      result.value = 0;
      report(to, primitive, result.outcome);
    }
    return result;
  }
  describe()([&](Call call) {
    call.primitive = primitive;
    call.depth = context.depth;
    if (const Reason reason = ask_observers(call); reason != Reason::none)
      result.outcome = Outcome::failure(reason);
    else
      result.outcome = body(result.value);
    if (!result.outcome.ok()) {
      result.value = 0;
      report(to, primitive, result.outcome);
    }
    tell_observers(call, result);
  });
  return result;
}

/// Makes sure that the caller's memory is there before the machine is touched: where it is not, the access faults now,
/// when nothing has been done yet, and never halfway.  Memory comes and goes by pages of 4 KiB or more: one word of
/// each is enough, the first.
/// @param words    what the machine will read, or write to; at least one.
/// @param written  whether it will write there: the words are written as they are.
inline void touch(std::span<macro_word> words, bool written) {
  constexpr std::size_t PAGE = 4096;
  const auto touch_word = [written](volatile macro_word &word) {
    const macro_word value = word;
    if (written)
      word = value;
  };
  touch_word(words.front());
  const std::size_t into_page = reinterpret_cast<std::uintptr_t>(words.data()) % PAGE;
  for (std::size_t i = (PAGE - into_page) / sizeof(macro_word); i < words.size(); i += PAGE / sizeof(macro_word))
    touch_word(words[i]);
}

/// Describes a call by its operands and, where it has them, its unit words.
template <std::size_t N>
[[nodiscard]] auto operands(std::array<Operand, N> list, const Unit *unit = nullptr) {
  return [list, unit](auto &&go_on) {
    Call call{};
    call.operands = list;
    if (unit != nullptr) {
      call.unit = *unit;
      call.has_unit = true;
    }
    go_on(call);
  };
}

}  // namespace scdb
