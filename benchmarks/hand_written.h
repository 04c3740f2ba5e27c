/*
 * The calls of some macros, one of each kind, as one would write them by hand in C: what the macro frame is measured
 * against.  Each is the read or dump, where the macro has more than that.
 */
#ifndef HAND_WRITTEN_H
#define HAND_WRITTEN_H

#include "libscfjtag.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

extern macro_entry hand_cp_9A10_0101;
extern macro_entry hand_cp_9ACA_0101;
extern macro_entry hand_cp_9AC5_0101;
extern macro_entry hand_cp_9AF1_0101;
extern macro_entry hand_cpj_A300_0101;
extern macro_entry hand_cpj_A303_0101;
extern macro_entry hand_ma_9009_0101;
extern macro_entry hand_ma_9067_0101;
extern macro_entry hand_sc_93C0_0101;
extern macro_entry hand_xb_9408_0101;

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
