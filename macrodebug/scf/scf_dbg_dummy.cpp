#include "frame/frame.hpp"

PLACEHOLDER_ENTRY(scf_dbg_dummy)
