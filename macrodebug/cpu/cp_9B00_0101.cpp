#include "cpu/long.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9B00_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

constexpr cpu::LongRings RINGS{.port = 0, .data = 48, .control = 58};

}  // namespace

MACRO_ENTRY(cp_9B00_0101, cpu::LongWalk, RINGS)
