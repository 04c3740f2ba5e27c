#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(cpu_dbg_dummy)
