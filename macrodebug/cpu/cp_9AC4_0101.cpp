#include "cpu/cache_tag.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AC4_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The operand cache's tag array: two banks of 2048 entries, chosen by bit 19 of _PARA[0].
struct OperandTag : cpu::CacheTag<OperandTag> {
  using CacheTag::begin, CacheTag::finish, CacheTag::take;

  macro_word _DUM = 0, _ADRS12 = 0;

  static constexpr macro_word CODE_MACRO = 0x9ACB;
  static constexpr macro_word LIMIT = 2048;
  static constexpr macro_word DATA_OUT = 55;
  static constexpr macro_word DATA_IN = 60;
  static constexpr macro_word ADDRESS_RING = 61;
  static constexpr macro_word INPUT_RINGS[] = {DATA_IN, ADDRESS_RING};
  static constexpr macro_word OUTPUT_RINGS[] = {DATA_OUT};
  static constexpr macro_word PULSES[] = {cpu::unit_pulse(4)};

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(0x1E80809));
  static constexpr auto HOLD = frame::field(1, frame::bit(0x1E8080D));
  static constexpr auto BANK = frame::field(1, frame::bit(0x1E8080F));
  static constexpr auto ADDRESS =
      frame::field(0x7FF, frame::bit(0x1E8080E), frame::bit(0x1E80810), frame::run(0x1E80811, 9));
  static constexpr auto IN = frame::field(cpu::SHORT_WORD, frame::run(0x1E0018C, 6), frame::run(0x1E00192, 11));
  static constexpr auto OUT = frame::field(cpu::SHORT_WORD, frame::descending<17>(0x1B87771));

  static constexpr auto GATE_SELECT = frame::field(7, frame::descending<3>(0x1B84FC8));
  static constexpr macro_word GATES[] = {0x1B84FC5, 0x1B84F68, 0x1B84F67, 0x1B84F66, 0x1B84F65};

  [[nodiscard]] macro_word first_entry() const { return lmcr_shift(_PARA[0], 13, 21, 11); }
  [[nodiscard]] bool prepare() const { return open_gates(DATA_OUT, GATE_SELECT, GATES); }
  [[nodiscard]] bool load_address() {
    _ADRS12 = lmcr_shift(_PARA[0], 12, 31, 1);
    return insert(BANK, _ADRS12) && insert(ADDRESS, static_cast<macro_word>(_COUNT2));
  }
  [[nodiscard]] bool settle() { return cpu::throw_away(*this, OUT, _DUM); }
};

}  // namespace

MACRO_ENTRY(cp_9AC4_0101, OperandTag)
