#pragma once

#include <sanitizer/asan_interface.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

#include "engine/run/guard.hpp"
#include "libscfjtag.h"

/// What the fuzz programs share.  Each of them hands arbitrary bytes to one part of the product, which may refuse them,
/// and must neither crash, nor reach outside what it was given, nor take time or memory without end.
namespace fuzz {

/// Ends the run as a crash does.
inline void require(bool condition, std::string_view what) {
  if (condition)
    return;
  static_cast<void>(std::fprintf(stderr, "this does not hold: %.*s\n", static_cast<int>(what.size()), what.data()));
  std::abort();
}

/// The bytes of a run, handed out from the first on.  When they are used up, others follow that they determine, so that
/// a long run needs no long input.
class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : bytes_{bytes} {
    for (const std::uint8_t byte : bytes)
      state_ = (state_ ^ byte) * 0x100000001B3;
  }

  [[nodiscard]] bool used_up() const { return bytes_.empty(); }

  [[nodiscard]] std::uint8_t byte() {
    if (bytes_.empty()) {
      state_ = state_ * 6364136223846793005 + 1442695040888963407;
      return static_cast<std::uint8_t>(state_ >> 56);
    }
    const std::uint8_t first = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return first;
  }

  [[nodiscard]] macro_word raw_word() {
    macro_word word = 0;
    for (int i = 0; i < 4; ++i)
      word = word << 8 | byte();
    return word;
  }

  /// Words as they matter here: small numbers, single bits, what is just below 0, and all others.
  [[nodiscard]] macro_word word() {
    const macro_word kind = byte();
    if (kind < 0x60)
      return kind;
    if (kind < 0x80)
      return macro_word{1} << (kind & 31);
    if (kind < 0x90)
      return MACRO_ALL - (kind & 15);
    return raw_word();
  }

  /// True once in `times`.
  [[nodiscard]] bool rarely(unsigned times) { return byte() % times == times - 1; }

  template <class Row, std::size_t N>
  [[nodiscard]] const Row &one_of(const std::array<Row, N> &rows) {
    return rows[raw_word() % N];
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::uint64_t state_ = 0xCBF29CE484222325;
};

/// An area of changing size that is alone: its first word lies against an inaccessible page, and what is behind its
/// last one is poisoned, so that every access outside ends the run, reading or writing.
class Area {
 public:
  explicit Area(std::string_view name, std::size_t most, engine::AreaUse use = engine::AreaUse::read_and_write)
      : pages_{name, whole_pages(most), use} {}
  ~Area() { __asan_unpoison_memory_region(pages_.address(), pages_.words().size_bytes()); }
  Area(const Area &) = delete;
  Area &operator=(const Area &) = delete;

  /// @param words  not more than there are.  @return the area as the macro gets it, its words as they were.
  [[nodiscard]] macro_word *begin(std::size_t words) {
    const std::size_t all = pages_.words().size();
    macro_word *const first = pages_.address();
    __asan_unpoison_memory_region(first, all * sizeof(macro_word));
    __asan_poison_memory_region(first + words, (all - words) * sizeof(macro_word));
    return first;
  }

  /// Its words where they can be written, also when the macro may only read them.
  [[nodiscard]] std::span<macro_word> own(std::size_t words) {
    pages_.open();
    return pages_.words().first(words);
  }

 private:
  /// Words that fill their pages lie against the guards on both sides.
  static std::size_t whole_pages(std::size_t words) {
    const std::size_t words_of_a_page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / sizeof(macro_word);
    return (words + words_of_a_page - 1) / words_of_a_page * words_of_a_page;
  }

  engine::GuardedArea pages_;
};

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);
