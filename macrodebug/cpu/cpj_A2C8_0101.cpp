#include "cpu/secondary_cache.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cpj_A2C8_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

MACRO_ENTRY(cpj_A2C8_0101, cpu::SecondaryCacheTag<1>)
