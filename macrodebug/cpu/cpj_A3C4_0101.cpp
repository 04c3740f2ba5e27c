#include "cpu/entry.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cpj_A3C4_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

MACRO_ENTRY(cpj_A3C4_0101, cpu::EntryCheck, cpu::port(3))
