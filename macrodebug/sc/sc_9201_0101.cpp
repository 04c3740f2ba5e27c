#include "sc/register_bank.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: sc_9201_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

constexpr sc::Bank<3> BANK{{{0, 16}, {1, 17}, {9, 21}}, 10, sc::WHOLE_WORD};

}  // namespace

MACRO_ENTRY(sc_9201_0101, sc::RegisterBank<BANK>)
