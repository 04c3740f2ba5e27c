#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "cases_all.hpp"
#include "counted.hpp"
#include "hand_written.h"

// What macros themselves cost: the library as it is shipped, over primitives that do nothing.  Counted are all its
// macros; some also against the same calls written by hand.

extern macro_word null_answer;

namespace {

macro_entry *find(const std::string &name) {
  static void *const library = dlopen(MACRO_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  void *const found = library != nullptr ? dlsym(library, name.c_str()) : nullptr;
  if (found == nullptr) {
    std::fprintf(stderr, "macro_benchmark: %s\n", dlerror());
    std::exit(1);
  }
  return reinterpret_cast<macro_entry *>(found);
}

/// A macro, or what stands for it, and the areas that it works on.
class Run {
 public:
  Run(macro_entry *entry, const cases::Case &row)
      : entry_{entry},
        type_{scdb::unit_type_of(row.kind)},
        mring_{scdb::chip_bit(row.kind, 0)},
        rw_{row.input.rw},
        para_{row.input.para},
        data_{row.input.data} {
    para_.resize(32);
    data_.resize(std::max<std::size_t>(row.input.data_words, 256));
  }

  void operator()() {
    _RETURN = 0;
    benchmark::DoNotOptimize(
        entry_(type_, 1, mring_.data(), rw_, para_.data(), data_.data(), err_.data(), exp_.data()));
  }

 private:
  macro_entry *entry_;
  macro_word type_;
  std::array<macro_word, MRING_WORDS> mring_;
  macro_word rw_;
  std::vector<macro_word> para_;
  std::vector<macro_word> data_;
  std::array<macro_word, ERROR_RECORD_WORDS> err_{};
  std::array<macro_word, 16> exp_{};
};

struct Pair {
  cases::Case row;
  macro_entry *hand;
};

const std::vector<Pair> &pairs() {
  using scdb::ChipKind;
  static const std::vector<Pair> list{
      {{{"cp_9A10_0101", 1}}, hand_cp_9A10_0101},
      {{{"cp_9ACA_0101", 0, {0x12345678, 0x9ABCDEF0, 0x0F1E2D3C}}}, hand_cp_9ACA_0101},
      {{{"cp_9AC5_0101", 1, {0, 1}}}, hand_cp_9AC5_0101},
      {{{"cp_9AF1_0101", 0, {1, 2, 3, 4}}}, hand_cp_9AF1_0101},
      {{{"cpj_A300_0101", 1, {0, 10}}}, hand_cpj_A300_0101},
      {{{"cpj_A303_0101", 1, {0, 1}}}, hand_cpj_A303_0101},
      {{{"ma_9009_0101", 0, {1}}, ChipKind::mac}, hand_ma_9009_0101},
      {{{"ma_9067_0101", 0, {MACRO_ALL}}, ChipKind::mac}, hand_ma_9067_0101},
      {{{"sc_93C0_0101", 1, {7, 1}}, ChipKind::sc}, hand_sc_93C0_0101},
      {{{"xb_9408_0101", 0, {}, {}, std::size_t{80} * 512 * 3}, ChipKind::xb}, hand_xb_9408_0101},
  };
  return list;
}

/// Every macro with all its rows of the tests' tables, and each row with several answers to what it reads: this takes
/// it through most of its code, and lets those that poll come to their end.
void count() {
  const std::vector<cases::Case> rows = cases::all();
  std::set<std::string> names;
  for (const cases::Case &row : rows)
    names.insert(row.input.macro);
  for (const std::string &name : names) {
    std::vector<Run> runs;
    for (const cases::Case &row : rows)
      if (row.input.macro == name)
        runs.emplace_back(find(name), row);
    counted("macro " + name, [&runs] {
      for (const macro_word answer : {macro_word{0}, MACRO_ALL, macro_word{0x80000000}}) {
        null_answer = answer;
        for (Run &run : runs)
          run();
      }
    });
  }
  null_answer = 0;
  for (const Pair &pair : pairs()) {
    counted("frame " + pair.row.input.macro, Run(find(pair.row.input.macro), pair.row));
    counted("hand " + pair.row.input.macro, Run(pair.hand, pair.row));
  }
}

}  // namespace

int main(int argc, char **argv) {
  for (const Pair &pair : pairs())
    for (const auto &[form, entry] : {std::pair{"frame ", find(pair.row.input.macro)}, std::pair{"hand ", pair.hand}})
      benchmark::RegisterBenchmark((form + pair.row.input.macro).c_str(),
                                   [run = Run(entry, pair.row)](benchmark::State &state) mutable {
                                     for (auto _ : state)
                                       run();
                                   });
  return benchmark_main(argc, argv, count);
}
