#pragma once

#include "libscfjtag.h"

/// The calls of cp_9A10_0101 as one would write them by hand, in C.
extern "C" macro_entry hand_written_dump;
