#include "cpu/line_array.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AC5_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The line RAM.  Its data-out latches hold inverted data.
struct LineRam : cpu::LineArray<LineRam> {
  using LineArray::control, LineArray::finish;

  static constexpr macro_word CODE_MACRO = 0x9ACC;
  static constexpr macro_word DATA_OUT = 55;
  static constexpr macro_word DATA_IN = 60;
  static constexpr macro_word ADDRESS_RING = 61;
  static constexpr macro_word INPUT_RINGS[] = {DATA_IN, ADDRESS_RING};
  static constexpr macro_word OUTPUT_RINGS[] = {DATA_OUT};
  static constexpr macro_word PULSES[] = {cpu::unit_pulse(0)};

  static constexpr auto HOLD = frame::field(1, frame::bit(0x1E8070D));
  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(0x1E80709));
  static constexpr auto ADDRESS = frame::field(0x3FF, frame::bit(0x1E8070E), frame::run(0x1E80711, 9));
  static constexpr auto IN = cpu::wide(frame::field(0xFFFFFFFF, frame::run(0x1E0000C, 16), frame::run(0x1E0001C, 16)),
                                       frame::field(0xFFFFFFFF, frame::run(0x1E0002C, 16), frame::run(0x1E0003C, 16)),
                                       frame::field(cpu::BEHIND_WORD_2, frame::run(0x1E0004C, 8)));
  static constexpr auto OUT = cpu::wide(frame::field(0xFFFFFFFF, frame::descending<32>(0x1B873A8)),
                                        frame::field(0xFFFFFFFF, frame::descending<32>(0x1B87388)),
                                        frame::field(cpu::BEHIND_WORD_2, frame::descending<8>(0x1B87368)));

  static constexpr auto GATE_SELECT = frame::field(7, frame::descending<3>(0x1B84FA8));
  static constexpr macro_word GATES[] = {
      0x1B84FA5, 0x1B84F49, 0x1B84F48, 0x1B84F47, 0x1B84F46, 0x1B84F45,
      0x1B84F32, 0x1B84F31, 0x1B84F30, 0x1B84F2F, 0x1B84F2E,
  };

  [[nodiscard]] bool prepare() const { return open_gates(DATA_OUT, GATE_SELECT, GATES); }

  [[nodiscard]] bool load_address() const {
    return insert(ADDRESS, lmcr_shift(static_cast<macro_word>(_COUNT2), 27, 22, 5) | word_number());
  }

  [[nodiscard]] bool take(macro_word *entry) const { return take_latches(OUT, MACRO_ALL, entry); }
};

}  // namespace

MACRO_ENTRY(cp_9AC5_0101, LineRam)
