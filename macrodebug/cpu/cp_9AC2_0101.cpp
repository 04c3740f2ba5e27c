#include "cpu/cache_data.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AC2_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The operand cache's data array.
struct OperandData : cpu::FirstCacheData<OperandData, cpu::MarkedCacheData> {
  macro_word _OPSR22 = 0, _INVFLG = 0, _BDFLG = 0;
  macro_word _MPARA[1] = {}, _MDATA[1] = {};

  static constexpr macro_word PULSES[] = {cpu::unit_pulse(2)};

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(0x1E80789));
  static constexpr auto HOLD = frame::field(1, frame::bit(0x1E8078D));
  static constexpr auto ADDRESS = frame::field(0x3FF, frame::bit(0x1E8078E), frame::run(0x1E80791, 9));
  static constexpr auto IN =
      cpu::wide(frame::field(cpu::FRONT_WORD_0, frame::run(0x1E000CC, 8), frame::run(0x1E000D4, 16)),
                frame::field(0xFFFFFFFF, frame::run(0x1E000E4, 16), frame::run(0x1E000F4, 16)),
                frame::field(cpu::FRONT_WORD_2, frame::run(0x1E00104, 16)));
  static constexpr auto OUT = cpu::wide(frame::field(cpu::FRONT_WORD_0, frame::descending<24>(0x1B875A8)),
                                        frame::field(0xFFFFFFFF, frame::descending<32>(0x1B87590)),
                                        frame::field(cpu::FRONT_WORD_2, frame::descending<16>(0x1B87570)));
  static constexpr auto MARK_IN = frame::field(1, frame::bit(0x1E00114));
  static constexpr auto MARK_OUT = frame::field(1, frame::bit(0x1B87560));

  static constexpr auto GATE_SELECT = frame::field(7, frame::descending<3>(0x1C80242));
  static constexpr macro_word GATES[] = {0x1C8024C, 0x1C8024B, 0x1C8024A, 0x1C80249, 0x1C80248};
};

}  // namespace

MACRO_ENTRY(cp_9AC2_0101, OperandData)
