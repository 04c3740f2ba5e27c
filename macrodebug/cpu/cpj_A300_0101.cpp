#include "cpu/long.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cpj_A300_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

MACRO_ENTRY(cpj_A300_0101, cpu::LongWalk, cpu::rings_of_port(0))
