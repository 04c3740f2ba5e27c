#include "cpu/cache_tag.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AC3_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The instruction cache's tag array.
struct InstructionTag : cpu::CacheTag<InstructionTag> {
  using CacheTag::first_entry, CacheTag::begin, CacheTag::finish;
  using CacheTag::load_address, CacheTag::settle, CacheTag::take;

  static constexpr macro_word LIMIT = 1024;
  static constexpr macro_word CODE_MACRO = 0x9ACB;
  static constexpr macro_word DATA_OUT = 55;
  static constexpr macro_word GATE_RING = 57;
  static constexpr macro_word DATA_IN = 60;
  static constexpr macro_word ADDRESS_RING = 61;
  static constexpr macro_word INPUT_RINGS[] = {DATA_IN, ADDRESS_RING};
  static constexpr macro_word OUTPUT_RINGS[] = {DATA_OUT, GATE_RING};
  static constexpr macro_word PULSES[] = {cpu::unit_pulse(3)};

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(0x1E807C9));
  static constexpr auto HOLD = frame::field(1, frame::bit(0x1E807CD));
  static constexpr auto ADDRESS = frame::field(0x3FF, frame::bit(0x1E807CE), frame::run(0x1E807D1, 9));
  static constexpr auto IN = frame::field(cpu::SHORT_WORD, frame::run(0x1E0012C, 6), frame::run(0x1E00132, 11));
  static constexpr auto OUT = frame::field(cpu::SHORT_WORD, frame::descending<17>(0x1B87671));

  static constexpr auto GATE_SELECT = frame::field(7, frame::descending<3>(0x1C80262));
  static constexpr macro_word GATES[] = {0x1C8026C, 0x1C8026B, 0x1C8026A, 0x1C80269, 0x1C80268};

  [[nodiscard]] bool prepare() const { return open_gates(GATE_RING, GATE_SELECT, GATES); }
};

}  // namespace

MACRO_ENTRY(cp_9AC3_0101, InstructionTag)
