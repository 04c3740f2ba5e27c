#include "cpu/link_training.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9B09_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

constexpr cpu::Link LINK{.number = 0, .ring = 58};

}  // namespace

MACRO_ENTRY(cp_9B09_0101, cpu::LinkTraining<LINK>)
