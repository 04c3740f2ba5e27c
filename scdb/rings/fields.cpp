#include <algorithm>
#include <bit>
#include <cstdarg>

#include "scdb/primitives/perform.hpp"
#include "scdb/rings/ring.hpp"

macro_word _SCANBUFFER[SCANBUFFER_WORDS];
macro_word _SCANBUFFER1[SCANBUFFER_WORDS];

namespace scdb {
namespace {

/// The ring bit addresses of a call: they end when they have named as many bits as the mask has.
struct AddressList {
  std::array<macro_word, 32> words;
  unsigned count = 0;
  Reason reason = Reason::none;
  macro_word offender = 0;  ///< the address that is wrong, for the record

  [[nodiscard]] std::span<const macro_word> span() const { return {words.data(), count}; }
};

void gather(AddressList &list, macro_word mask, std::va_list arguments) {
  for (int wanted = std::popcount(mask); wanted > 0;) {
    const macro_word address = va_arg(arguments, macro_word);
    const RingBits bits = take_apart(address);
    list.words[list.count++] = address;
    wanted -= static_cast<int>(bits.length);
    if (bits.position + bits.length > SCANBUFFER_BITS || wanted < 0) [[unlikely]] {
      list.reason = wanted < 0 ? Reason::bad_bit_count : Reason::bad_ring_address;
      list.offender = address;
      return;
    }
  }
}

/// What insertion and extraction refuse before they touch the buffer.
Outcome check(const macro_word *buffer, const AddressList &list) {
  if (buffer == nullptr)
    return Outcome::failure(Reason::null_pointer);
  return list.reason == Reason::none ? Outcome::success() : Outcome::failure(list.reason);
}

/// The call as observers see it.
template <std::size_t N>
auto with_addresses(std::array<Operand, N> list, const AddressList &addresses) {
  return [list, &addresses](auto &&go_on) {
    Call call{};
    call.operands = list;
    call.addresses = addresses.span();
    go_on(call);
  };
}

}  // namespace
}  // namespace scdb

using namespace scdb;

// The ellipsis is the macro language's own interface: a field is as many addresses as its mask needs.
// NOLINTNEXTLINE(cert-dcl50-cpp)
macro_word lmcr_sin(macro_word *buffer, macro_word *err, macro_word *ret, macro_word value, macro_word mask, ...) {
  AddressList list;
  std::va_list arguments;
  va_start(arguments, mask);
  gather(list, mask, arguments);
  va_end(arguments);
  const CallResult result =
      perform(Primitive::sin, {ret, err, list.offender}, with_addresses<2>({{{"value", value}, {"mask", mask}}}, list),
              [&](macro_word & /*value*/) {
                const Outcome outcome = check(buffer, list);
                if (outcome.ok())
                  insert_bits(buffer, list.span(), pack(value, mask));
                return outcome;
              });
  return result.value;
}

// NOLINTNEXTLINE(cert-dcl50-cpp)
macro_word lmcr_sout(macro_word *buffer, macro_word *err, macro_word *ret, macro_word mask, ...) {
  AddressList list;
  std::va_list arguments;
  va_start(arguments, mask);
  gather(list, mask, arguments);
  va_end(arguments);
  const CallResult result = perform(Primitive::sout, {ret, err, list.offender},
                                    with_addresses<1>({{{"mask", mask}}}, list), [&](macro_word &value) {
                                      const Outcome outcome = check(buffer, list);
                                      if (outcome.ok())
                                        value = spread(extract_bits(buffer, list.span()), mask);
                                      return outcome;
                                    });
  return result.value;
}
