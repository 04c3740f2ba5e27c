#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(flp_dbg_dummy)
