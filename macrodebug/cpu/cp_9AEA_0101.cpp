#include "cpu/clock_ratio.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AEA_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

MACRO_ENTRY(cp_9AEA_0101, cpu::ClockRatio<cpu::Transition::SOFT>)
