#include <algorithm>
#include <bit>
#include <cstdarg>
#include <utility>

#include "scdb/primitives/perform.hpp"
#include "scdb/rings/ring.hpp"

macro_word _SCANBUFFER[SCANBUFFER_WORDS];
macro_word _SCANBUFFER1[SCANBUFFER_WORDS];

namespace scdb {
namespace {

/// Whether the next addresses of a call, as many as there are indices, count down from `address`.
///
/// Written out, not looped over: then the compiler knows where an argument lies and need not find out at run time
/// whether it came in a register.
template <std::size_t... I>
[[gnu::always_inline]] inline bool count_down(std::va_list &arguments, macro_word &address,
                                              std::index_sequence<I...> /*indices*/) {
  return ((static_cast<void>(I), va_arg(arguments, macro_word) == --address) && ...);
}

/// The same for `count` addresses, 0 to 30: most fields have 1, 8, 16 or 32 bits, and two have been looked at.
[[gnu::always_inline]] inline bool count_down(std::va_list &arguments, macro_word &address, unsigned count) {
  if (count == 30)
    return count_down(arguments, address, std::make_index_sequence<30>());
  if (count >= 6) {
    if (!count_down(arguments, address, std::make_index_sequence<6>()))
      return false;
    count -= 6;
  }
  if (count >= 8) {
    if (!count_down(arguments, address, std::make_index_sequence<8>()))
      return false;
    count -= 8;
  }
  for (; count > 0; --count)
    if (!count_down(arguments, address, std::make_index_sequence<1>()))
      return false;
  return true;
}

/// Looks at the addresses of a call as at those of the usual fields, which all lie side by side: runs end to end, or
/// single bits that count down.
/// @param width bits that the call names, at least 1.
/// @return what the first addresses name together: with `width` bits that is all.
[[gnu::always_inline]] inline Stretch look(unsigned width, std::va_list &arguments) {
  const macro_word first = va_arg(arguments, macro_word);
  const RingBits bits = take_apart(first);
  if (bits.length > width || bits.position > SCANBUFFER_BITS - width)
    return {};
  if (bits.length == width)
    return {bits.position, width, false};
  macro_word address = va_arg(arguments, macro_word);
  if (bits.length == 1) {
    if (address != first - 1 || bits.position < width - 1)
      return {};
    const unsigned length = count_down(arguments, address, width - 2) ? width : first - address;
    return {bits.position - (length - 1), length, true};
  }
  unsigned length = bits.length;
  for (;;) {
    const RingBits more = take_apart(address);
    if (more.position != bits.position + length)
      return {};
    length += more.length;
    if (length >= width)
      return length == width ? Stretch{bits.position, length, false} : Stretch{};
    address = va_arg(arguments, macro_word);
  }
}

constexpr std::size_t MOST_ADDRESSES = 32;

/// What the addresses of a call name, whatever they are.
struct Field {
  std::array<Stretch, MOST_ADDRESSES> stretches;
  unsigned count = 0;
  Reason reason = Reason::none;
  macro_word offender = 0;  ///< the address that is wrong, for the record
  std::array<macro_word, MOST_ADDRESSES> addresses;
  unsigned kept = 0;  ///< addresses, for observers

  [[nodiscard]] std::span<const Stretch> parts() const { return {stretches.data(), count}; }
};

/// Takes the addresses of a call, those of single bits side by side together.  The list ends when it has named as many
/// bits as are wanted: what a callee of variable arguments can know.
/// @param counted how many of the first addresses are known to be those of single bits that count down; the next one
/// does not go on so.
/// @tparam KEEP whether the addresses themselves are kept; then none may have been counted.
template <bool KEEP>
void gather(Field &field, unsigned wanted, unsigned counted, std::va_list call) {
  if (wanted == 0)
    return;
  std::va_list arguments;  // one that nobody else knows can be kept in registers
  va_copy(arguments, call);
  const auto next = [&] {
    const macro_word address = va_arg(arguments, macro_word);
    if constexpr (KEEP)
      field.addresses[field.kept++] = address;
    return address;
  };
  macro_word address = next();
  if (counted > 0) {
    field.stretches[field.count++] = {take_apart(address).position - (counted - 1), counted, true};
    wanted -= counted;
    for (unsigned i = 0; i < counted; ++i)
      address = next();
  }
  for (;;) {
    const macro_word first = address;
    const RingBits bits = take_apart(first);
    if (bits.length > wanted || bits.position + bits.length > SCANBUFFER_BITS) [[unlikely]] {
      field.reason = bits.length > wanted ? Reason::bad_bit_count : Reason::bad_ring_address;
      field.offender = first;
      break;
    }
    unsigned length = bits.length;
    if (length < wanted)
      address = next();
    const macro_word step = address - first;
    if (length == 1 && (step == 1 || step == MACRO_ALL)) {
      const unsigned room = step == 1 ? static_cast<unsigned>(SCANBUFFER_BITS) - bits.position : bits.position + 1;
      const unsigned most = std::min(wanted, room);
      for (macro_word expected = address; length < most && address == expected; expected += step) {
        ++length;
        if (length < wanted)
          address = next();
      }
    }
    const bool descending = length > bits.length && step == MACRO_ALL;
    field.stretches[field.count++] = {bits.position - (descending ? length - 1 : 0), length, descending};
    wanted -= length;
    if (wanted == 0)
      break;
  }
  va_end(arguments);
}

/// What insertion and extraction refuse before they touch the buffer.
Outcome check(const macro_word *buffer, const Field &field) {
  if (buffer == nullptr)
    return Outcome::failure(Reason::null_pointer);
  return field.reason == Reason::none ? Outcome::success() : Outcome::failure(field.reason);
}

/// The call as observers see it.
template <std::size_t N>
auto with_addresses(std::array<Operand, N> list, const Field &field) {
  return [list, &field](auto &&go_on) {
    Call call{};
    call.operands = list;
    call.addresses = {field.addresses.data(), field.kept};
    go_on(call);
  };
}

/// Puts any field, as it goes on after its beginning.
[[gnu::noinline]] macro_word insert_any(macro_word *buffer, macro_word *err, macro_word *ret, macro_word value,
                                        macro_word mask, unsigned counted, std::va_list arguments) {
  Field field;
  const auto wanted = static_cast<unsigned>(std::popcount(mask));
  context.observers.empty() ? gather<false>(field, wanted, counted, arguments)
                            : gather<true>(field, wanted, counted, arguments);
  const CallResult result = perform(
      Primitive::sin, {ret, err, field.offender},
      [&] {
        return with_addresses<2>({{{"value", value}, {"mask", mask}}}, field);
      },
      [&](macro_word & /*value*/) {
        const Outcome outcome = check(buffer, field);
        if (outcome.ok())
          insert_bits(buffer, field.parts(), pack(value, mask));
        return outcome;
      });
  return result.value;
}

[[gnu::noinline]] macro_word extract_any(const macro_word *buffer, macro_word *err, macro_word *ret, macro_word mask,
                                         unsigned counted, std::va_list arguments) {
  Field field;
  const auto wanted = static_cast<unsigned>(std::popcount(mask));
  context.observers.empty() ? gather<false>(field, wanted, counted, arguments)
                            : gather<true>(field, wanted, counted, arguments);
  const CallResult result = perform(
      Primitive::sout, {ret, err, field.offender},
      [&] {
        return with_addresses<1>({{{"mask", mask}}}, field);
      },
      [&](macro_word &value) {
        const Outcome outcome = check(buffer, field);
        if (outcome.ok())
          value = spread(extract_bits(buffer, field.parts()), mask);
        return outcome;
      });
  return result.value;
}

/// Bits of a mask that has any and has no hole, in a call that nobody observes; 0 for all others.
[[gnu::always_inline]] inline unsigned width_of_usual(const macro_word *buffer, macro_word mask) {
  if (!context.observers.empty() || buffer == nullptr || mask == 0 || !contiguous(mask)) [[unlikely]]
    return 0;
  return static_cast<unsigned>(32 - std::countl_zero(mask) - std::countr_zero(mask));
}

}  // namespace
}  // namespace scdb

using namespace scdb;

// The ellipsis is the macro language's own interface: a field is as many addresses as its mask needs.

// NOLINTNEXTLINE(cert-dcl50-cpp)
macro_word lmcr_sin(macro_word *buffer, macro_word *err, macro_word *ret, macro_word value, macro_word mask, ...) {
  unsigned counted = 0;
  if (const unsigned width = width_of_usual(buffer, mask); width > 0) [[likely]] {
    std::va_list arguments;
    va_start(arguments, mask);
    const Stretch begun = look(width, arguments);
    va_end(arguments);
    counted = begun.length;
    if (counted == width) [[likely]] {
      insert_bits(buffer, begun, value << std::countl_zero(mask));
      return 0;
    }
  }
  std::va_list arguments;
  va_start(arguments, mask);
  const macro_word result = insert_any(buffer, err, ret, value, mask, counted, arguments);
  va_end(arguments);
  return result;
}

// NOLINTNEXTLINE(cert-dcl50-cpp)
macro_word lmcr_sout(macro_word *buffer, macro_word *err, macro_word *ret, macro_word mask, ...) {
  unsigned counted = 0;
  if (const unsigned width = width_of_usual(buffer, mask); width > 0) [[likely]] {
    std::va_list arguments;
    va_start(arguments, mask);
    const Stretch begun = look(width, arguments);
    va_end(arguments);
    counted = begun.length;
    if (counted == width) [[likely]]
      return extract_bits(buffer, begun) >> std::countl_zero(mask);
  }
  std::va_list arguments;
  va_start(arguments, mask);
  const macro_word result = extract_any(buffer, err, ret, mask, counted, arguments);
  va_end(arguments);
  return result;
}
