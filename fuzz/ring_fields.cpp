#include <algorithm>
#include <bit>
#include <optional>

#include "fuzz.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"

// lmcr_sin and lmcr_sout with arbitrary masks and addresses, against bits moved one by one.

namespace {

constexpr std::size_t MOST_ADDRESSES = 32;
constexpr unsigned BUFFER_BITS = SCANBUFFER_WORDS * 32;

using Addresses = std::array<macro_word, MOST_ADDRESSES>;
using Buffer = std::array<macro_word, SCANBUFFER_WORDS>;

/// The positions of a field's bits, the first of which belongs to the most significant bit of its mask.
struct Positions {
  std::array<unsigned, 32> of{};
  unsigned count = 0;
  scdb::Reason reason = scdb::Reason::none;
  macro_word offender = 0;
};

Positions positions_of(const Addresses &addresses, macro_word mask) {
  Positions positions;
  const auto wanted = static_cast<unsigned>(std::popcount(mask));
  for (std::size_t i = 0; positions.count < wanted; ++i) {
    const unsigned first = addresses[i] & 0x7FFFF;
    const unsigned length = (addresses[i] >> 28) + 1;
    positions.offender = addresses[i];
    if (length > wanted - positions.count)
      positions.reason = scdb::Reason::bad_bit_count;
    else if (first + length > BUFFER_BITS)
      positions.reason = scdb::Reason::bad_ring_address;
    if (positions.reason != scdb::Reason::none)
      return positions;
    for (unsigned k = 0; k < length; ++k)
      positions.of[positions.count++] = first + k;
  }
  return positions;
}

macro_word bit_of(unsigned position) {
  return macro_word{0x80000000} >> position % 32;
}

/// The bits of a mask from the most significant down, each with the ring bit that belongs to it.
template <class Use>
void each_bit(const Positions &positions, macro_word mask, Use use) {
  unsigned next = 0;
  for (macro_word bit = 0x80000000; bit != 0; bit >>= 1)
    if ((mask & bit) != 0)
      use(bit, positions.of[next++]);
}

/// Mostly what fields consist of: runs, and single bits that count down; rarely what is none.
Addresses addresses_from(fuzz::Input &input) {
  Addresses list{};
  const macro_word ring = macro_word{input.byte()} << 19;
  macro_word at = input.raw_word() % (BUFFER_BITS + 8);
  for (macro_word &address : list) {
    const std::uint8_t kind = input.byte();
    if (kind < 0x90)
      --at;
    else if (kind < 0xB0)
      ++at;
    else if (kind < 0xF8)
      at = input.raw_word() % (BUFFER_BITS + 8);
    const bool run = kind % 8 == 7;
    address = kind == 0xFF ? input.raw_word() : (run ? macro_word{input.byte()} << 28 : 0) | ring | (at & 0x7FFFF);
  }
  return list;
}

template <class Call, std::size_t... I>
macro_word with(const Addresses &list, Call call, std::index_sequence<I...> /*unused*/) {
  return call(list[I]...);
}

void check_failure(const Positions &expected, scdb::Primitive primitive, macro_word ret, const macro_word *err) {
  const bool fails = expected.reason != scdb::Reason::none;
  fuzz::require(ret == (fails ? MACRO_FAILED : 0), "the status cell tells whether the field is one");
  if (!fails)
    return;
  const std::optional<scdb::Failure> failure = scdb::read_failure({err, ERROR_RECORD_WORDS});
  fuzz::require(failure && failure->primitive == primitive && failure->outcome.reason == expected.reason
                    && failure->code == expected.offender,
                "the record tells what is wrong with the field");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  static fuzz::Area area{"buffer", SCANBUFFER_WORDS};
  static Buffer model;
  constexpr auto EVERY = std::make_index_sequence<MOST_ADDRESSES>();

  fuzz::Input input{{bytes, size}};
  // With an observer the addresses are kept for it.
  scdb::Observer watching;
  if (input.rarely(2))
    scdb::add_observer(watching);
  macro_word *buffer = area.begin(SCANBUFFER_WORDS);
  const macro_word background = input.raw_word();
  for (std::size_t i = 0; i < model.size(); ++i)
    buffer[i] = model[i] = background ^ static_cast<macro_word>(i * 0x9E3779B1);

  for (unsigned calls = 0; calls < 16 && !input.used_up(); ++calls) {
    const macro_word mask = input.rarely(4) ? input.raw_word() : MACRO_ALL >> input.byte() % 32 << input.byte() % 32;
    const macro_word value = input.raw_word();
    const Addresses addresses = addresses_from(input);
    const Positions positions = positions_of(addresses, mask);
    std::array<macro_word, ERROR_RECORD_WORDS> err{};
    macro_word ret = 0;

    const auto sin = [&](auto... list) { return lmcr_sin(buffer, err.data(), &ret, value, mask, list...); };
    fuzz::require(with(addresses, sin, EVERY) == 0, "insertion gives 0");
    check_failure(positions, scdb::Primitive::sin, ret, err.data());
    if (ret == 0)
      each_bit(positions, mask, [&](macro_word bit, unsigned position) {
        macro_word &word = model[position / 32];
        word = (value & bit) != 0 ? word | bit_of(position) : word & ~bit_of(position);
      });
    fuzz::require(std::equal(model.begin(), model.end(), buffer), "the named bits change, and no others");

    ret = 0;
    const auto sout = [&](auto... list) { return lmcr_sout(buffer, err.data(), &ret, mask, list...); };
    const macro_word extracted = with(addresses, sout, EVERY);
    check_failure(positions, scdb::Primitive::sout, ret, err.data());
    macro_word expected = 0;
    if (ret == 0)
      each_bit(positions, mask, [&](macro_word bit, unsigned position) {
        if ((model[position / 32] & bit_of(position)) != 0)
          expected |= bit;
      });
    fuzz::require(extracted == expected, "extraction gives the named bits");
    area.check();
  }
  scdb::remove_observer(watching);
  return 0;
}
