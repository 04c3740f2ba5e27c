#include <array>
#include <bitset>
#include <cstdint>

#include "counted.hpp"
#include "libscfjtag.h"
#include "scdb/rings/ring.hpp"

// Insertion and extraction of ring bits: the variadic calls as macros make them, against the same bits moved one by
// one, and what moves the bits inside against whole-word shifts written by hand.

namespace {

macro_word err[ERROR_RECORD_WORDS];
std::bitset<scdb::SCANBUFFER_BITS> bits;

/// A field as macros pass it.
template <macro_word MASK, macro_word... ADDRESSES>
struct Call {
  static void put(macro_word value) { lmcr_sin(_SCANBUFFER, err, &_RETURN, value, MASK, ADDRESSES...); }
  static macro_word get() { return lmcr_sout(_SCANBUFFER, err, &_RETURN, MASK, ADDRESSES...); }

  static constexpr unsigned BITS = (((ADDRESSES >> 28) + 1) + ...);
  /// The bits' positions, in the order in which they are handed out.
  static constexpr std::array<unsigned, BITS> positions() {
    std::array<unsigned, BITS> list{};
    unsigned count = 0;
    for (const macro_word address : {ADDRESSES...})
      for (unsigned i = 0; i <= address >> 28; ++i)
        list[count++] = (address & 0x7FFFF) + i;
    return list;
  }
};

#define DOWN_5(a) (a), (a)-1, (a)-2, (a)-3, (a)-4
#define DOWN_8(a) DOWN_5(a), (a)-5, (a)-6, (a)-7
#define DOWN_32(a) DOWN_8(a), DOWN_8((a)-8), DOWN_8((a)-16), DOWN_8((a)-24)
constexpr macro_word TOP = 0x1B873A8;
using OneBit = Call<1, TOP>;
using Single8 = Call<0xFF, DOWN_8(TOP)>;
using Single32 = Call<0xFFFFFFFF, DOWN_32(TOP)>;
using Run16 = Call<0xFFFF0000, 0xF1806812>;
using TwoRuns = Call<0xFFFFFFFF, 0xF1E0000C, 0xF1E0001C>;
using Mixed = Call<0xFFFFFFFF, DOWN_8(TOP), 0xF1E0000C, 0x71E0003C>;
/// Latches of two cores take turns, five by five.
using Turns = Call<0xFFFFFFFF, TOP, TOP - 1, DOWN_5(TOP - 7), DOWN_5(TOP - 17), DOWN_5(TOP - 27), DOWN_5(TOP - 37),
                   DOWN_5(TOP - 47), DOWN_5(TOP - 57)>;

/// The primitives.
template <class Field>
struct Primitives {
  static void put(macro_word value) { Field::put(value); }
  static macro_word get() { return Field::get(); }
};

/// The same bits one at a time: positions are known, no call is made.
template <class Field>
struct BitLoop {
  static inline std::array<unsigned, Field::BITS> positions = Field::positions();
  static void put(macro_word value) {
    for (unsigned i = 0; i < Field::BITS; ++i) {
      macro_word &word = _SCANBUFFER[positions[i] / 32];
      const macro_word place = 0x80000000 >> positions[i] % 32;
      word = (value >> (Field::BITS - 1 - i) & 1) != 0 ? word | place : word & ~place;
    }
  }
  static macro_word get() {
    macro_word value = 0;
    for (const unsigned position : positions)
      value = value << 1 | (_SCANBUFFER[position / 32] >> (31 - position % 32) & 1);
    return value;
  }
};

/// The same with std::bitset, by index.
template <class Field>
struct Bitset {
  static inline std::array<unsigned, Field::BITS> positions = Field::positions();
  static void put(macro_word value) {
    for (unsigned i = 0; i < Field::BITS; ++i)
      bits[positions[i]] = (value >> (Field::BITS - 1 - i) & 1) != 0;
  }
  static macro_word get() {
    macro_word value = 0;
    for (const unsigned position : positions)
      value = value << 1 | (bits[position] ? 1 : 0);
    return value;
  }
};

unsigned lowest = (TOP & 0x7FFFF) - 31;

/// What moves a field of single bits inside the primitives.
struct Inside {
  static void put(macro_word value) { scdb::insert_bits(_SCANBUFFER, scdb::Stretch{lowest, 32, true}, value); }
  static macro_word get() { return scdb::extract_bits(_SCANBUFFER, scdb::Stretch{lowest, 32, true}); }
};

/// The least that it can be: a shift over two words, for 32 bits and no other number of them.
struct FunnelShift {
  static void put(macro_word value) {
    macro_word *const words = _SCANBUFFER + lowest / 32;
    const std::uint64_t ones = std::uint64_t{MACRO_ALL} << 32 >> lowest % 32;
    const std::uint64_t put = std::uint64_t{scdb::reverse(value)} << 32 >> lowest % 32;
    words[0] = (words[0] & ~static_cast<macro_word>(ones >> 32)) | static_cast<macro_word>(put >> 32);
    words[1] = (words[1] & ~static_cast<macro_word>(ones)) | static_cast<macro_word>(put);
  }
  static macro_word get() {
    const macro_word *const words = _SCANBUFFER + lowest / 32;
    const std::uint64_t both = std::uint64_t{words[0]} << 32 | words[1];
    return scdb::reverse(static_cast<macro_word>(both << lowest % 32 >> 32));
  }
};

constexpr unsigned REPEAT = 100;  ///< calls that are counted together

/// Registers a way to move a field under "put NAME WAY" and "get NAME WAY", or counts REPEAT calls.
template <class Way>
void each(const std::string &name, bool counts) {
  macro_word value = 0x12345678;
  const auto put = [value]() mutable {
    benchmark::DoNotOptimize(lowest);
    Way::put(value++);
    benchmark::ClobberMemory();
  };
  const auto get = [] {
    benchmark::DoNotOptimize(lowest);
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(Way::get());
  };
  const auto one = [&](const std::string &full, auto move) {
    if (counts)
      counted(full, [move]() mutable {
        for (unsigned i = 0; i < REPEAT; ++i)
          move();
      });
    else
      benchmark::RegisterBenchmark(full.c_str(), [move](benchmark::State &state) mutable {
        for (auto _ : state)
          move();
      });
  };
  one("put " + name, put);
  one("get " + name, get);
}

template <class Field>
void ways(const std::string &name, bool counts) {
  each<Primitives<Field>>(name + " primitives", counts);
  each<BitLoop<Field>>(name + " bit loop", counts);
  each<Bitset<Field>>(name + " bitset", counts);
}

void all(bool counts) {
  ways<OneBit>("1 bit", counts);
  ways<Single8>("8 single bits", counts);
  ways<Single32>("32 single bits", counts);
  ways<Run16>("a run of 16", counts);
  ways<TwoRuns>("two runs of 16", counts);
  ways<Mixed>("8 single bits and two runs", counts);
  ways<Turns>("32 single bits in seven groups", counts);
  each<Inside>("inside", counts);
  each<FunnelShift>("funnel shift", counts);
}

}  // namespace

int main(int argc, char **argv) {
  if (RUNNING_ON_VALGRIND == 0)
    all(false);
  return benchmark_main(argc, argv, [] { all(true); });
}
