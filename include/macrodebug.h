/*
 * macrodebug.h - what the macro library libmacrodebug exports, for programs that link it.
 *
 * Programs that look macros up by name need only libscfjtag.h.
 */
#ifndef MACRODEBUG_H
#define MACRODEBUG_H

#include "libscfjtag.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Words of the error record. */
enum {
  ERR_CLASS = 0,     /**< ERR_PARAMETER from a macro; a failure class of the primitive library otherwise */
  ERR_PRIMITIVE = 1, /**< primitive library only: which primitive failed */
  ERR_CODE = 2,      /**< primitive library only: its code, ring, register or test number */
  ERR_PLACE = 3,     /**< primitive library only: unit type, board and chip */
  ERR_REASON = 4,    /**< primitive library only: the reason */
  ERR_SUBCODE = 5,   /**< macro: which check failed */
  ERR_VALUE = 6,     /**< macro: the offending value as it was received */
  ERR_CONTEXT = 7,   /**< macro: a second value of the check */
  ERR_LOCATION = 8   /**< macro: 16 words, a copy of _MRING or a word of failing chips for each board */
};

/** Word 0: a macro refused a parameter or found the hardware wrong. */
#define ERR_PARAMETER UINT32_C(0xFFFFFF9D) /* -99 */

/** Word 5: the check that failed. */
#define SUB_SELECTOR UINT32_C(0xFFFFFFFF) /* -1: the selector is not one that the macro accepts */
#define SUB_SECOND UINT32_C(0xFFFFFFFE)   /* -2: a second range check */
#define SUB_COUNT UINT32_C(0xFFFFFFFD)    /* -3: a count or length outside 1..N */
#define SUB_THIRD UINT32_C(0xFFFFFFFC)    /* -4: a third range check, or a register that does not hold */
#define SUB_HARDWARE UINT32_C(0xFFFFFFF7) /* -9: a value read from the hardware is of an unsupported kind */
#define SUB_FIELD UINT32_C(0xFFFFFFA6)    /* -90: a field inside a packed word is invalid */

/** Placeholder entries, one for each unit directory: they take nothing and return 0. */
int clk_dbg_dummy(void);
int cpu_dbg_dummy(void);
int flp_dbg_dummy(void);
int ioc_dbg_dummy(void);
int mac_dbg_dummy(void);
int mbc_dbg_dummy(void);
int sc_dbg_dummy(void);
int scf_dbg_dummy(void);
int sys_dbg_dummy(void);
int xb_dbg_dummy(void);

/** CPU register access. */
extern macro_entry cp_9A10_0101;
extern macro_entry cp_9A11_0101;
extern macro_entry cp_9A12_0101;
extern macro_entry cp_9A20_0101;

#ifdef __cplusplus
}
#endif

#endif
