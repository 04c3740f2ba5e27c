#include <algorithm>
#include <bit>
#include <cstdarg>

#include "scdb/primitives/perform.hpp"
#include "scdb/rings/ring.hpp"

macro_word _SCANBUFFER[SCANBUFFER_WORDS];
macro_word _SCANBUFFER1[SCANBUFFER_WORDS];

namespace scdb {
namespace {

constexpr std::size_t MOST_ADDRESSES = 32;

/// What the ring bit addresses of a call name.
struct Field {
  std::array<Stretch, MOST_ADDRESSES> stretches;
  unsigned count = 0;
  Reason reason = Reason::none;
  macro_word offender = 0;  ///< the address that is wrong, for the record
  std::array<macro_word, MOST_ADDRESSES> addresses;
  unsigned kept = 0;  ///< addresses, for observers

  [[nodiscard]] std::span<const Stretch> parts() const { return {stretches.data(), count}; }
};

/// Takes the addresses of a call together into stretches.  Single bits that count down are what most fields are made
/// of: such a sequence costs one comparison an address.  The list ends when it has named as many bits as the mask has:
/// what a callee of variable arguments can know.
/// @tparam KEEP whether the addresses themselves are kept.
template <bool KEEP>
void gather(Field &field, macro_word mask, std::va_list arguments) {
  auto wanted = static_cast<unsigned>(std::popcount(mask));
  const auto next = [&] {
    const macro_word address = va_arg(arguments, macro_word);
    if constexpr (KEEP)
      field.addresses[field.kept++] = address;
    return address;
  };
  const auto fail = [&](Reason reason, macro_word address) {
    field.reason = reason;
    field.offender = address;
  };
  if (wanted == 0)
    return;
  for (macro_word address = next();;) {
    const RingBits bits = take_apart(address);
    if (bits.length > wanted) [[unlikely]]
      return fail(Reason::bad_bit_count, address);
    if (bits.position + bits.length > SCANBUFFER_BITS) [[unlikely]]
      return fail(Reason::bad_ring_address, address);
    const macro_word first = address;
    unsigned length = bits.length;
    bool more = length < wanted;
    if (more)
      address = next();
    if (bits.length > 1) {
      field.stretches[field.count++] = {bits.position, length, false};
    } else {
      for (; more && address == first - length && length <= bits.position; more = length < wanted) {
        ++length;
        if (length < wanted)
          address = next();
      }
      field.stretches[field.count++] = {bits.position - (length - 1), length, true};
    }
    if (!more)
      return;
    wanted -= length;
  }
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

}  // namespace
}  // namespace scdb

using namespace scdb;

// The ellipsis is the macro language's own interface: a field is as many addresses as its mask needs.
// NOLINTNEXTLINE(cert-dcl50-cpp)
macro_word lmcr_sin(macro_word *buffer, macro_word *err, macro_word *ret, macro_word value, macro_word mask, ...) {
  Field field;
  std::va_list arguments;
  va_start(arguments, mask);
  context.observers.empty() ? gather<false>(field, mask, arguments) : gather<true>(field, mask, arguments);
  va_end(arguments);
  const CallResult result =
      perform(Primitive::sin, {ret, err, field.offender},
              with_addresses<2>({{{"value", value}, {"mask", mask}}}, field), [&](macro_word & /*value*/) {
                const Outcome outcome = check(buffer, field);
                if (outcome.ok())
                  insert_bits(buffer, field.parts(), pack(value, mask));
                return outcome;
              });
  return result.value;
}

// NOLINTNEXTLINE(cert-dcl50-cpp)
macro_word lmcr_sout(macro_word *buffer, macro_word *err, macro_word *ret, macro_word mask, ...) {
  Field field;
  std::va_list arguments;
  va_start(arguments, mask);
  context.observers.empty() ? gather<false>(field, mask, arguments) : gather<true>(field, mask, arguments);
  va_end(arguments);
  const CallResult result = perform(Primitive::sout, {ret, err, field.offender},
                                    with_addresses<1>({{{"mask", mask}}}, field), [&](macro_word &value) {
                                      const Outcome outcome = check(buffer, field);
                                      if (outcome.ok())
                                        value = spread(extract_bits(buffer, field.parts()), mask);
                                      return outcome;
                                    });
  return result.value;
}
