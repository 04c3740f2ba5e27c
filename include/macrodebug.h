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
  ERR_PLACE = 3,     /**< primitive library: unit type, board and chip; xb_9434_0101: the unit type that it refuses */
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

/** ECC check bits and syndromes. */
extern macro_entry cp_9ACA_0101;
extern macro_entry cp_9ACB_0101;
extern macro_entry cp_9ACC_0101;
extern macro_entry cpj_A28A_0101;
extern macro_entry cpj_A28B_0101;
extern macro_entry cpj_A28C_0101;
extern macro_entry cpj_A2CA_0101;
extern macro_entry cpj_A2CB_0101;
extern macro_entry cpj_A2CC_0101;

/** Cache and RAM arrays. */
extern macro_entry cp_9AC1_0101;
extern macro_entry cp_9AC2_0101;
extern macro_entry cp_9AC3_0101;
extern macro_entry cp_9AC4_0101;
extern macro_entry cp_9AC5_0101;
extern macro_entry cpj_A281_0101;
extern macro_entry cpj_A282_0101;
extern macro_entry cpj_A283_0101;
extern macro_entry cpj_A284_0101;
extern macro_entry cpj_A285_0101;
extern macro_entry cpj_A286_0101;
extern macro_entry cpj_A287_0101;
extern macro_entry cpj_A288_0101;
extern macro_entry cpj_A2C1_0101;
extern macro_entry cpj_A2C2_0101;
extern macro_entry cpj_A2C3_0101;
extern macro_entry cpj_A2C4_0101;
extern macro_entry cpj_A2C5_0101;
extern macro_entry cpj_A2C6_0101;
extern macro_entry cpj_A2C7_0101;
extern macro_entry cpj_A2C8_0101;

/** Clock, PLL and reset sequences. */
extern macro_entry cp_9AE0_0101;
extern macro_entry cp_9AE1_0101;
extern macro_entry cp_9AE2_0101;
extern macro_entry cp_9AEA_0101;
extern macro_entry cp_9AEB_0101;
extern macro_entry cp_9AEC_0101;
extern macro_entry cp_9AED_0101;
extern macro_entry cp_9AF0_0101;
extern macro_entry cp_9AF1_0101;
extern macro_entry cp_9AF2_0101;

/** CPU memory ports. */
extern macro_entry cp_9B00_0101;
extern macro_entry cp_9B09_0101;
extern macro_entry cp_9B0A_0101;
extern macro_entry cp_9B40_0101;
extern macro_entry cpj_A300_0101;
extern macro_entry cpj_A303_0101;
extern macro_entry cpj_A304_0101;
extern macro_entry cpj_A305_0101;
extern macro_entry cpj_A340_0101;
extern macro_entry cpj_A343_0101;
extern macro_entry cpj_A344_0101;
extern macro_entry cpj_A345_0101;
extern macro_entry cpj_A380_0101;
extern macro_entry cpj_A383_0101;
extern macro_entry cpj_A384_0101;
extern macro_entry cpj_A385_0101;
extern macro_entry cpj_A3C0_0101;
extern macro_entry cpj_A3C3_0101;
extern macro_entry cpj_A3C4_0101;
extern macro_entry cpj_A3C5_0101;

/** Memory access controller. */
extern macro_entry ma_9000_0101;
extern macro_entry ma_9001_0101;
extern macro_entry ma_9002_0101;
extern macro_entry ma_9003_0101;
extern macro_entry ma_9004_0101;
extern macro_entry ma_9006_0101;
extern macro_entry ma_9007_0101;
extern macro_entry ma_9008_0101;
extern macro_entry ma_9009_0101;
extern macro_entry ma_9040_0101;
extern macro_entry ma_9067_0101;

/** System controller. */
extern macro_entry sc_9201_0101;
extern macro_entry sc_9202_0101;
extern macro_entry sc_9203_0101;
extern macro_entry sc_9210_0101;
extern macro_entry sc_9211_0101;
extern macro_entry sc_93C0_0101;
extern macro_entry sc_93C1_0101;

/** Crossbar. */
extern macro_entry xb_9400_0101;
extern macro_entry xb_9408_0101;
extern macro_entry xb_9430_0101;
extern macro_entry xb_9434_0101;

/** I/O controller. */
extern macro_entry io_9685_0101;
extern macro_entry io_96F1_0101;

/** Service processor. */
extern macro_entry sp_8000_0000;
extern macro_entry sp_8001_0000;
extern macro_entry sp_8002_0000;

#ifdef __cplusplus
}
#endif

#endif
