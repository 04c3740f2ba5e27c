#include "sc/table_ram.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: sc_93C1_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

// The macro goes through to its end even when accesses fail: the status cell tells afterwards.
constexpr sc::Table TWO_WAY{.ways = 2, .select = 0x00640000, .tested = false};

}  // namespace

MACRO_ENTRY(sc_93C1_0101, sc::TableRam<TWO_WAY>)
