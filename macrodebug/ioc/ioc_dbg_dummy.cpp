#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(ioc_dbg_dummy)
