#include "cpu/register_port.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9A10_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Dumps both words of all 24 registers into _DATA[0] to _DATA[47].
struct RegisterDump : cpu::RegisterPort {
  static constexpr int32_t LAST_GROUP = 32;
  static constexpr int32_t GROUP_DISTANCE = 16;
  static constexpr int32_t GROUP_SIZE = 8;

  int run() {
    for (_COUNT0 = 0; _COUNT0 <= LAST_GROUP; _COUNT0 += GROUP_DISTANCE)
      for (_COUNT1 = 0; _COUNT1 < GROUP_SIZE; ++_COUNT1) {
        _WORK0 = cpu::register_field(static_cast<macro_word>(_COUNT0 + _COUNT1));
        if (!(ask(_WORK0 | cpu::READ_FIRST_WORD, _DATA[_COUNT2])
              && ask(_WORK0 | cpu::READ_SECOND_WORD, _DATA[_COUNT2 + 1])))
          return frame::STOPPED;
        _COUNT2 += 2;
      }
    return frame::DONE;
  }
};

}  // namespace

MACRO_ENTRY(cp_9A10_0101, RegisterDump)
