#include <algorithm>
#include <optional>

#include "fuzz.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"
#include "support/ring_field.hpp"

// lmcr_sin and lmcr_sout with arbitrary masks and addresses, against bits moved one by one.

namespace {

constexpr std::size_t MOST_ADDRESSES = 32;
constexpr unsigned BUFFER_BITS = SCANBUFFER_WORDS * 32;

using Addresses = std::array<macro_word, MOST_ADDRESSES>;
using Buffer = std::array<macro_word, SCANBUFFER_WORDS>;

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

void check_failure(const support::RingField &expected, scdb::Primitive primitive, macro_word ret,
                   const macro_word *err) {
  const bool fails = expected.reason() != scdb::Reason::none;
  fuzz::require(ret == (fails ? MACRO_FAILED : 0), "the status cell tells whether the field is one");
  if (!fails)
    return;
  const std::optional<scdb::Failure> failure = scdb::read_failure({err, ERROR_RECORD_WORDS});
  fuzz::require(failure && failure->primitive == primitive && failure->outcome.reason == expected.reason()
                    && failure->code == expected.offender(),
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
    const support::RingField field{mask, addresses};
    std::array<macro_word, ERROR_RECORD_WORDS> err{};
    macro_word ret = 0;

    const auto sin = [&](auto... list) { return lmcr_sin(buffer, err.data(), &ret, value, mask, list...); };
    fuzz::require(with(addresses, sin, EVERY) == 0, "insertion gives 0");
    check_failure(field, scdb::Primitive::sin, ret, err.data());
    field.put(model, value);
    fuzz::require(std::equal(model.begin(), model.end(), buffer), "the named bits change, and no others");

    ret = 0;
    const auto sout = [&](auto... list) { return lmcr_sout(buffer, err.data(), &ret, mask, list...); };
    const macro_word extracted = with(addresses, sout, EVERY);
    check_failure(field, scdb::Primitive::sout, ret, err.data());
    fuzz::require(extracted == field.get(model), "extraction gives the named bits");
  }
  scdb::remove_observer(watching);
  return 0;
}
