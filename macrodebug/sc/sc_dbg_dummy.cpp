#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(sc_dbg_dummy)
