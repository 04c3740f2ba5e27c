#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>

#include "scdb/record.hpp"
#include "support/ring_field.hpp"
#include "support/support.hpp"

// Insertion and extraction of fields against a model that goes bit by bit.

namespace {

using support::Words;

constexpr unsigned BUFFER_BITS = SCANBUFFER_WORDS * 32;

struct Call {
  macro_word mask = 0;
  Words addresses = {};  ///< up to 32; there may be more than the call needs
};

std::string failure_text(scdb::Reason reason, macro_word address) {
  return reason == scdb::Reason::none ? "none" : fmt::format("{} at {:X}", scdb::title_of(reason), address);
}

class RingBits : public testing::Test {
 protected:
  RingBits() {
    scdb::begin_run();
    for (macro_word &word : _SCANBUFFER)
      word = static_cast<macro_word>(random_());
  }

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  std::string take_failure() {
    const bool failed = _RETURN == MACRO_FAILED;
    _RETURN = 0;
    const auto failure = scdb::read_failure(err_);
    return failed ? failure_text(failure.value().outcome.reason, failure->code) : "none";
  }

  /// Calls the primitive with 32 addresses; it must not look at those that it does not need.
  template <class... Front>
  static macro_word pass(macro_word (*primitive)(Front..., ...), Words a, Front... front) {
    a.resize(32);
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
      return primitive(front..., a[I]...);
    }
    (std::make_index_sequence<32>());
  }

  /// Makes the call as insertion and as extraction and compares both with the model.
  void compare(const Call &call) {
    SCOPED_TRACE(fmt::format("mask {:X} @ {:X}", call.mask, fmt::join(call.addresses, " ")));
    const auto value = static_cast<macro_word>(random_());
    const support::RingField field{call.mask, call.addresses};
    const std::string failure = failure_text(field.reason(), field.offender());
    std::copy(std::begin(_SCANBUFFER), std::end(_SCANBUFFER), expected_.begin());
    field.put(expected_, value);
    pass<macro_word *, macro_word *, macro_word *, macro_word, macro_word>(lmcr_sin, call.addresses, _SCANBUFFER,
                                                                           err_.data(), &_RETURN, value, call.mask);
    ASSERT_EQ(take_failure(), failure);
    ASSERT_TRUE(std::equal(expected_.begin(), expected_.end(), std::begin(_SCANBUFFER)));

    ASSERT_EQ((pass<macro_word *, macro_word *, macro_word *, macro_word>(lmcr_sout, call.addresses, _SCANBUFFER,
                                                                          err_.data(), &_RETURN, call.mask)),
              field.get(_SCANBUFFER));
    ASSERT_EQ(take_failure(), failure);
  }

  /// A list of addresses as macros have them, with a fault here and there.
  Call random_call() {
    Call call;
    const unsigned bits = below(3) == 0 ? 8U << below(3) : 1 + below(32);
    if (below(2) == 0)
      call.mask = MACRO_ALL >> (32 - bits) << below(33 - bits);
    while (std::popcount(call.mask) < static_cast<int>(bits))
      call.mask |= 1U << below(32);
    macro_word at = 0;
    for (unsigned named = 0; named < bits;) {
      if (named == 0 || below(3) == 0)  // otherwise it goes on where the last one ended
        at = (0x90 + below(2)) << 19
             | (below(4) == 0   ? below(40)
                : below(4) == 0 ? BUFFER_BITS - 36 + below(40)
                                : below(BUFFER_BITS));
      const unsigned left = below(50) == 0 ? 32 : bits - named;
      const unsigned length = below(2) == 0 ? left : 1 + below(left);
      const unsigned form = below(4);
      if (form == 0) {
        const unsigned run = length < 16 ? length : 16;
        call.addresses.push_back((run - 1) << 28 | at);
        at += run;
        named += run;
      } else {
        const macro_word step = form == 1 ? 1 : MACRO_ALL;
        for (unsigned i = 0; i < length; ++i, ++named, at = (at + step) & 0x0FFFFFFF)
          call.addresses.push_back(at);
      }
    }
    if (below(10) == 0)
      call.addresses[below(static_cast<unsigned>(call.addresses.size()))] ^= 1U << below(32);
    // A fault may have made the list name fewer bits.
    call.addresses.resize(32, 0x04800000);
    return call;
  }

  std::mt19937 random_{20261121};
  std::array<macro_word, ERROR_RECORD_WORDS> err_{};
  std::array<macro_word, SCANBUFFER_WORDS> expected_{};
};

TEST_F(RingBits, AgreeWithTheModel) {
  for (const Call &call : {
           Call{7, {0x01E00002, 0x01E00001, 0x01E00000}},      // single bits down
           Call{7, {0x21E00041}},                              // the same as one run
           Call{0x3FF, {0x01E8070E, 0x81E80711}},              // a single bit and a run
           Call{0xFFFFFFFF, {0xF1E0000C, 0xF1E0001C}},         // runs end to end
           Call{0xFFFF0000, {0xF1806812}},                     // the upper half
           Call{0xFF000000, {0x71E0004C}},                     // over a word's end
           Call{0x1FF7, {0x1D, 0x1C, 0x23, 0x71E00100, 0x5}},  // a mask with a hole
           Call{0x80000001, {0x01E0FFFF, 0x01E0FFFE}},         // the last bits of the buffer
           Call{0xF, {0x01E00001, 0x01E00000, 0x01DFFFFF}},    // below the first bit is no bit
           Call{7, {0x11E00010, 0x11E00012}},                  // runs end to end, one bit too many
           Call{0xF, {0x11E00040, 0x11E0003F}},                // runs over one another
           Call{0xFFFFFFFF, {0x70000000, 0x10000020, 0x30000024, 0xF0000030, 0x00000100, 0x00000101}},
           Call{0, {}},
       })
    compare(call);
  for (int i = 0; i < 5000 && !HasFatalFailure(); ++i)
    compare(random_call());
}

TEST_F(RingBits, AgreeWhenObserved) {
  scdb::Observer silent;
  const scdb::Observing observing(silent);
  for (int i = 0; i < 2000 && !HasFatalFailure(); ++i)
    compare(random_call());
}

TEST_F(RingBits, NeedABuffer) {
  lmcr_sin(nullptr, err_.data(), &_RETURN, 1, 1, macro_word{0});
  EXPECT_EQ(take_failure(), failure_text(scdb::Reason::null_pointer, 0));
  EXPECT_EQ(lmcr_sout(nullptr, err_.data(), &_RETURN, 1, macro_word{0}), 0U);
  EXPECT_EQ(take_failure(), failure_text(scdb::Reason::null_pointer, 0));
}

}  // namespace
