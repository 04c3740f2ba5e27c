// Runs the cases of all macros in one process, many times over: every run must give what the first one gave, and memory
// must not grow.
//
//   soak [RUNS]        30,000 runs unless told; too few to repeat every case are a failure
#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string_view>

#include "cases_all.hpp"
#include "support/stage.hpp"

/// What a sanitizer's allocator has handed out; only a sanitized program has it.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

namespace {

constexpr std::uint64_t RUNS = 30'000;
/// In so many rounds every case gets its turn.
constexpr std::uint64_t ROUNDS_OF_ALL = 2;
/// Calls after which another case gets its turn: one that makes more calls than this later waits for as many rounds.
constexpr std::uint64_t CALLS_OF_A_ROUND = 100;

/// Bytes that the allocator may hold ready for the next request: it counts them as allocated.
constexpr std::size_t ALLOCATOR_CACHE = 8192;
/// Bytes by which resident memory may grow all the same: pages of the heap and of libraries that had no use before.
constexpr std::size_t PAGES_OF_FIRST_USE = 2 << 20;

[[noreturn]] void fail(const std::string &what) {
  throw std::runtime_error(what);
}

/// Whether a sanitizer has put its own allocator in the place of the C library's.
bool sanitized() {
  return __sanitizer_get_current_allocated_bytes != nullptr;
}

/// What a run came to.
struct Answer {
  int result = 0;
  macro_word status = 0;
  std::uint64_t areas = 0;
  friend bool operator==(const Answer &, const Answer &) = default;
};

std::uint64_t digest(std::uint64_t before, std::span<const macro_word> words) {
  for (const macro_word word : words)
    before = (before ^ word) * 0x100000001B3U + (before >> 32);
  return before;
}

/// A case, with the machine that each of its runs begins on.
class Member {
 public:
  Member(const cases::Case &row, const scdb::Machine &machine)
      : row_{row}, machine_{machine}, stage_(row.input, support::one_chip(row.kind)) {
    // The first run tells the answer, and how many calls make it.
    support::Follower follower(support::one_chip(row.kind));
    const scdb::Observing observing(follower);
    answer_ = run();
    rounds_ = 1 + follower.failable() / CALLS_OF_A_ROUND;
  }

  [[nodiscard]] bool has_its_turn(std::uint64_t round) const { return round < ROUNDS_OF_ALL || round % rounds_ == 0; }

  void run_again() {
    if (run() != answer_)
      fail(row_.input.macro + " does not give what it gave first");
    ++repeated_;
  }

  void expect_repeated() const {
    if (repeated_ < ROUNDS_OF_ALL)
      fail(fmt::format("a case of {} was repeated {} times only; it takes more runs", row_.input.macro, repeated_));
  }

 private:
  Answer run() {
    static_cast<void>(scdb::attach(machine_.copy()));
    const int result = stage_.run();
    if (!stage_.kept_to_its_areas())
      fail(row_.input.macro + " wrote outside its areas");
    return {result, _RETURN, digest(digest(1, stage_.data().contents()), stage_.err().contents())};
  }

  const cases::Case &row_;
  const scdb::Machine &machine_;
  support::Stage stage_;
  Answer answer_;
  std::uint64_t rounds_ = 1;  ///< from one run to the next
  std::uint64_t repeated_ = 0;
};

/// Bytes that the program has allocated, and bytes of it that are in memory.
struct Memory {
  std::size_t allocated = 0;
  std::size_t resident = 0;
};

/// Between runs, with no machine attached.
Memory memory_in_use() {
  static_cast<void>(scdb::attach(nullptr));
  std::size_t pages = 0;
  std::ifstream file("/proc/self/statm");
  file >> pages >> pages;
  const std::size_t resident = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  if (sanitized())
    return {__sanitizer_get_current_allocated_bytes(), resident};
  const auto information = mallinfo2();
  return {information.uordblks + information.hblkhd, resident};
}

std::uint64_t runs_to_make(std::span<char *> arguments) {
  std::uint64_t runs = RUNS;
  if (arguments.size() > 2)
    fail("usage: soak [RUNS]");
  if (arguments.size() == 2) {
    const std::string_view text = arguments[1];
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), runs);
    if (error != std::errc{} || end != text.data() + text.size())
      fail(fmt::format("'{}' is no number of runs", text));
  }
  return runs;
}

void soak(std::uint64_t runs) {
  const std::vector<cases::Case> rows = cases::all();
  std::map<std::string, std::unique_ptr<scdb::Machine>> machines;
  std::vector<std::unique_ptr<Member>> members;
  for (const cases::Case &row : rows) {
    std::unique_ptr<scdb::Machine> &machine = machines[cases::small_server(row)];
    if (!machine)
      machine = scdb::open_machine_text(cases::small_server(row), "server of the case");
    members.push_back(std::make_unique<Member>(row, *machine));
  }

  const Memory before = memory_in_use();
  const auto start = std::chrono::steady_clock::now();
  std::uint64_t made = 0;
  for (std::uint64_t round = 0; made < runs; ++round)
    for (const auto &member : members) {
      if (made == runs || !member->has_its_turn(round))
        continue;
      member->run_again();
      ++made;
    }
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  const Memory after = memory_in_use();

  fmt::print("{} runs of {} cases in {:.1f} s, {:.0f} a second\n", runs, members.size(), time.count(),
             static_cast<double>(runs) / time.count());
  fmt::print("bytes allocated {} before, {} after; resident {} before, {} after\n", before.allocated, after.allocated,
             before.resident, after.resident);
  for (const auto &member : members)
    member->expect_repeated();
  if (after.allocated > before.allocated + ALLOCATOR_CACHE)
    fail("memory has grown");
  // A sanitizer keeps for a while what was given back, and finds itself what nobody holds any more.
  if (!sanitized() && after.resident > before.resident + PAGES_OF_FIRST_USE)
    fail("memory has grown outside what the allocator knows of");
}

}  // namespace

int main(int argc, char **argv) {
  try {
    soak(runs_to_make({argv, static_cast<std::size_t>(argc)}));
  } catch (const std::exception &error) {
    std::cerr << "soak: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
