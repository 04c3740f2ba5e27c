#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "counted.hpp"
#include "scdb/macros.hpp"
#include "scdb/session.hpp"

// The libraries as they are shipped, on the simulated server: macros, whole rings, nested calls, and how cost grows.

namespace {

std::array<macro_word, ERROR_RECORD_WORDS> err;
std::array<macro_word, 16> expected;
std::vector<macro_word> data(std::size_t{80} * 512 * 3);

/// The first CPU chip of board 0, or more of them.
struct Unit {
  macro_word type = scdb::unit_type_of(scdb::ChipKind::cpu);
  macro_word boards = 1;
  std::array<macro_word, MRING_WORDS> mring{scdb::chip_bit(scdb::ChipKind::cpu, 0)};
};

void check() {
  if (_RETURN == MACRO_FAILED)
    throw std::runtime_error("a primitive failed");
}

/// Counts accesses of a run: every primitive call but the pure bit-field mover.
class Counter : public scdb::Observer {
 public:
  std::size_t calls = 0;
  scdb::Reason before(const scdb::Call &call) override {
    calls += call.primitive != scdb::Primitive::shift ? 1 : 0;
    return scdb::Reason::none;
  }
};

/// A macro on one chip.
class Run {
 public:
  Run(const char *macro, scdb::ChipKind kind, std::vector<macro_word> para) : para_{std::move(para)} {
    if (scdb::macros().empty())
      scdb::load_macro_library(MACRO_LIBRARY);
    macro_ = scdb::find_macro(std::string_view(macro));
    if (macro_ == nullptr)
      throw std::runtime_error("the library has no such macro");
    unit_.type = scdb::unit_type_of(kind);
    unit_.mring[0] = scdb::chip_bit(kind, 0);
    para_.resize(32);
  }

  void operator()() const {
    scdb::begin_run();
    macro_->entry(unit_.type, unit_.boards, unit_.mring.data(), 1, para_.data(), data.data(), err.data(),
                  expected.data());
    check();
  }

  [[nodiscard]] std::size_t accesses() const {
    Counter counter;
    const scdb::Observing observing(counter);
    (*this)();
    return counter.calls;
  }

 private:
  const scdb::Macro *macro_;
  Unit unit_;
  std::vector<macro_word> para_;
};

struct Row {
  std::string name;
  const char *macro;
  scdb::ChipKind kind;
  std::vector<macro_word> para;
};
const Row MACROS[] = {
    {"five calls", "cp_9A11_0101", scdb::ChipKind::cpu, {}},
    {"register dump", "cp_9A10_0101", scdb::ChipKind::cpu, {}},
    {"line dump", "cp_9AC5_0101", scdb::ChipKind::cpu, {5, 1}},
    {"identifier walk", "cpj_A303_0101", scdb::ChipKind::cpu, {0, 1}},
    {"long macro of 2048 entries", "cpj_A300_0101", scdb::ChipKind::cpu, {0, 2048}},
    {"crossbar dump", "xb_9408_0101", scdb::ChipKind::xb, {}},
};

constexpr macro_word RING = 60;
constexpr std::size_t RING_WORDS = (37'707 + 31) / 32;
constexpr macro_word READ = 0, WRITE = 1, SAVE = 128, RESTORE = 129;

void scan(macro_word mode, const Unit &unit = {}) {
  lmcr_scan(mode, MACRO_ALL, MACRO_ALL, MACRO_ALL, RING, _SCANBUFFER, 1, &_RETURN, err.data(), unit.type, unit.boards,
            unit.mring.data());
  check();
}

void copy() {
  std::memcpy(_SCANBUFFER1, _SCANBUFFER, RING_WORDS * sizeof(macro_word));
  benchmark::ClobberMemory();
}

/// A macro that does nothing in the direction it is given, called by the host and as macros call one another.
constexpr macro_word NOTHING = 0x9A11;
void direct() {
  static macro_entry *const entry = scdb::find_macro(NOTHING)->entry;
  const Unit unit;
  entry(unit.type, unit.boards, unit.mring.data(), MACRO_ALL, nullptr, nullptr, err.data(), nullptr);
}
void nested() {
  const Unit unit;
  lmcr_maccall(unit.type, unit.boards, unit.mring.data(), MACRO_ALL, NOTHING, nullptr, nullptr, &_RETURN, err.data(),
               nullptr);
}

/// Everything but the growth, which is counted only.
template <class Each>
void each(Each &&each) {
  // A ring that was never written is computed from the seed: these have been.
  scan(READ);
  for (std::size_t i = 0; i < RING_WORDS; ++i)
    _SCANBUFFER[i] ^= static_cast<macro_word>(i);
  scan(WRITE);
  each("ring read", [] { scan(READ); });
  each("ring write", [] { scan(WRITE); });
  each("ring save", [] { scan(SAVE); });
  each("ring save and restore", [] {
    scan(SAVE);
    scan(RESTORE);
  });
  each("ring memcpy", copy);
  for (const Row &row : MACROS)
    each(row.name, Run(row.macro, row.kind, row.para));
  each("call direct", direct);
  each("call nested", nested);
}

void count_growth() {
  static_cast<void>(scdb::attach(scdb::open_machine("large")));
  for (unsigned boards = 1; boards <= scdb::BOARDS; ++boards) {
    Unit unit;
    unit.boards = (macro_word{1} << boards) - 1;
    unit.mring.fill(scdb::chip_mask(scdb::ChipKind::cpu));
    counted("growth register write, by boards " + std::to_string(boards), [&unit] {
      lmcr_mjtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, 0x01, 0, 1, &_RETURN, err.data(), unit.type, unit.boards,
                 unit.mring.data(), 1);
      check();
    });
    counted("growth ring read, by boards " + std::to_string(boards), [&unit] { scan(READ, unit); });
  }
  for (unsigned bits = 4096; bits <= 65'536; bits += 4096) {
    const std::string text = "base = \"default\"\n[cpu.rings]\n60 = " + std::to_string(bits) + "\n";
    static_cast<void>(scdb::attach(scdb::open_machine_text(text, "growth")));
    counted("growth ring read and write, by bits " + std::to_string(bits), [] {
      scan(READ);
      ++_SCANBUFFER[0];
      scan(WRITE);
    });
  }
  static_cast<void>(scdb::attach(scdb::open_machine("")));
  for (macro_word entries = 128; entries <= 2048; entries += 128) {
    const Run run("cpj_A300_0101", scdb::ChipKind::cpu, {0, entries});
    counted("growth long macro, by entries " + std::to_string(entries), run);
  }
}

}  // namespace

int main(int argc, char **argv) {
  if (RUNNING_ON_VALGRIND == 0) {
    each([](const std::string &name, auto body) {
      benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State &state) {
        for (auto _ : state)
          body();
        if constexpr (requires { body.accesses(); })
          state.counters["accesses"] = static_cast<double>(body.accesses());
      });
    });
  }
  return benchmark_main(argc, argv, [] {
    each([](const std::string &name, auto body) { counted(name, body); });
    count_growth();
  });
}
