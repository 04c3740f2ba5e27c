#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(mac_dbg_dummy)
