#include "cpu/cache_data.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AC1_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The instruction cache's data array.
struct InstructionData : cpu::FirstCacheData<InstructionData, cpu::PlainCacheData> {
  macro_word _OPSR22 = 0, _INVFLG = 0;
  macro_word _MPARA[1] = {}, _MDATA[1] = {};

  static constexpr macro_word PULSES[] = {cpu::unit_pulse(1)};

  static constexpr auto WRITE_ENABLE = frame::field(1, frame::bit(0x1E80749));
  static constexpr auto HOLD = frame::field(1, frame::bit(0x1E8074D));
  static constexpr auto ADDRESS = frame::field(0x3FF, frame::bit(0x1E8074E), frame::run(0x1E80751, 9));
  static constexpr auto IN =
      cpu::wide(frame::field(cpu::FRONT_WORD_0, frame::run(0x1E0006C, 8), frame::run(0x1E00074, 16)),
                frame::field(0xFFFFFFFF, frame::run(0x1E00084, 16), frame::run(0x1E00094, 16)),
                frame::field(cpu::FRONT_WORD_2, frame::run(0x1E000A4, 16)));
  static constexpr auto OUT = cpu::wide(frame::field(cpu::FRONT_WORD_0, frame::descending<24>(0x1B874A8)),
                                        frame::field(0xFFFFFFFF, frame::descending<32>(0x1B87490)),
                                        frame::field(cpu::FRONT_WORD_2, frame::descending<16>(0x1B87470)));

  static constexpr auto GATE_SELECT = frame::field(7, frame::descending<3>(0x1C80222));
  static constexpr macro_word GATES[] = {0x1C8022C, 0x1C8022B, 0x1C8022A, 0x1C80229, 0x1C80228};
};

}  // namespace

MACRO_ENTRY(cp_9AC1_0101, InstructionData)
