#include "cpu/link_training.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9B0A_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

constexpr cpu::Link LINK{.number = 1, .ring = 61};

}  // namespace

MACRO_ENTRY(cp_9B0A_0101, cpu::LinkTraining<LINK>)
