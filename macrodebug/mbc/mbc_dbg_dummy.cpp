#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(mbc_dbg_dummy)
