#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(clk_dbg_dummy)
