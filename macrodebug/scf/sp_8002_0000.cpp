#include "scf/mbc_access.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: sp_8002_0000 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

MACRO_ENTRY(sp_8002_0000, scf::MbcAccess<0>)
