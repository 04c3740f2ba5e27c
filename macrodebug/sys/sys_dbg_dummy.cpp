#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(sys_dbg_dummy)
