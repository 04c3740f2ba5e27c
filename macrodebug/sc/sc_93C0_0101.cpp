#include "sc/table_ram.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: sc_93C0_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

constexpr sc::Table FOUR_WAY{.ways = 4, .select = 0x00600000, .tested = true};

}  // namespace

MACRO_ENTRY(sc_93C0_0101, sc::TableRam<FOUR_WAY>)
