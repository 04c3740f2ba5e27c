#include "cpu/index_walk.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cpj_A305_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

MACRO_ENTRY(cpj_A305_0101, cpu::IndexWalk, cpu::port(0))
