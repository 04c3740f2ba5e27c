#include "mac/both_groups.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: ma_9008_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

MACRO_ENTRY(ma_9008_0101, mac::BothGroups<mac::GroupsOnly<mac::POLL_COMPLETION>>)
