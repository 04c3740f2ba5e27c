#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(xb_dbg_dummy)
