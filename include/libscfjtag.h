/*
 * libscfjtag.h - the interface of the primitive library libscdb.
 *
 * The test and debug macros reach the hardware only through these functions and globals.  The header compiles as
 * C11 and as C++20.
 *
 * The status contract.  A primitive that receives `ret` and fails sets *ret to MACRO_FAILED (all ones) and, where it
 * receives `err`, fills words 0 to 4 of that error record (docs/error-record.md).  A primitive that succeeds leaves
 * *ret as it was.  The caller clears the status cell before a run.
 *
 * Threads.  There is one status cell and one pair of scan buffers in a process, and nothing here locks: all calls must
 * come from one thread, or be serialised by the caller for the whole of a macro run.
 */
#ifndef LIBSCFJTAG_H
#define LIBSCFJTAG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What is declared here is offered to other shared objects, however hidden everything else is. */
#pragma GCC visibility push(default)

/** The macro language's one data type, a 32-bit unsigned word. */
typedef uint32_t macro_word;

/** What the status cell holds after a failed primitive or a refused parameter. */
#define MACRO_FAILED UINT32_C(0xFFFFFFFF)

/** "All that the unit number and the location words designate", in a word of a target triple. */
#define MACRO_ALL UINT32_C(0xFFFFFFFF)

/** Words in each scan buffer: room for 65,536 ring bits; the longest ring in use has 37,707. */
#define SCANBUFFER_WORDS 2048

/** Location words of a unit: _MRING points to one word for each of the system boards 0 to 15. */
#define MRING_WORDS 16

/** Words of an error record that macros and primitives write: 0 to 23. */
#define ERROR_RECORD_WORDS 24

/** The status cell: MACRO_FAILED after a failure. */
extern macro_word _RETURN;

/** The scan buffers.  Ring bit p is bit p % 32, counted from the most significant, of word p / 32. */
extern macro_word _SCANBUFFER[SCANBUFFER_WORDS];
extern macro_word _SCANBUFFER1[SCANBUFFER_WORDS];

/**
 * JTAG instruction access to every designated chip.
 *
 * @param t0,t1,t2   target triple (docs/units.md): MACRO_ALL; a board mask or MACRO_ALL; a chip mask or MACRO_ALL.
 * @param kind       0 = issue the instruction and read the data register, 1 = write it, 2 = instruction only.
 * @param code       instruction code, 0 to 0xFF.
 * @param data       the word written (kind 1); 0 otherwise.
 * @param count      words per chip; always 1.
 * @return the word read (kind 0; several chips are ORed together), else 0.
 */
macro_word lmcr_jtag(macro_word t0, macro_word t1, macro_word t2, macro_word kind, macro_word code, macro_word data,
                     macro_word count, macro_word *ret, macro_word *err, macro_word unit_type, macro_word unit_no,
                     const macro_word *mring);

/**
 * JTAG write to every designated chip at once: lmcr_jtag of kind 1 without the kind word.
 *
 * @param one  always 1.
 * @return 0
 */
macro_word lmcr_mjtag(macro_word t0, macro_word t1, macro_word t2, macro_word code, macro_word data, macro_word count,
                      macro_word *ret, macro_word *err, macro_word unit_type, macro_word unit_no,
                      const macro_word *mring, macro_word one);

/**
 * Whether a location may be addressed as a broadcast group.
 *
 * @return the number of existing chips designated (greater than 0); 0 when there is none or the machine cannot
 *         broadcast to them; -1 for a board mask that is empty or names a board beyond 15; -2 for an unknown unit type;
 *         -3 without location words; -4 when an observer refused the call.
 */
int32_t lmcr_bcast(macro_word unit_type, macro_word unit_no, const macro_word *mring);

/**
 * Moves a whole scan ring.
 *
 * @param mode    0 = ring to buffer; 1 = buffer to ring; 128 = open: as 0, and each chip's contents are kept;
 *                129 = close: the kept contents go back into each chip, and the buffer is not looked at.
 * @param ring    ring code, 0 to 0xFF.
 * @param buffer  SCANBUFFER_WORDS words; a read writes the words that the ring covers, with 0 after its last bit.
 * @param count   always 1.
 * @return 0
 */
macro_word lmcr_scan(macro_word mode, macro_word t0, macro_word t1, macro_word t2, macro_word ring, macro_word *buffer,
                     macro_word count, macro_word *ret, macro_word *err, macro_word unit_type, macro_word unit_no,
                     const macro_word *mring);

/**
 * Puts the bits of `value` that `mask` selects, from the most significant down, into the buffer bits that the ring bit
 * addresses name one after another (docs/rings.md).  The addresses name exactly as many bits as the mask has.
 *
 * @param ...  ring bit addresses, each a macro_word.
 * @return 0
 */
macro_word lmcr_sin(macro_word *buffer, macro_word *err, macro_word *ret, macro_word value, macro_word mask, ...);

/**
 * The reverse of lmcr_sin.
 *
 * @return a word whose bits under `mask` hold the buffer bits named by the addresses, the others 0; 0 on failure.
 */
macro_word lmcr_sout(macro_word *buffer, macro_word *err, macro_word *ret, macro_word mask, ...);

/**
 * Moves a bit field.  Bits count from the most significant: bit 0 is 2^31.
 *
 * @return the field of `width` bits that starts at bit `source` of `value`, placed so that it starts at bit
 *         `destination`, all other bits 0.  A width of 0 gives 0; positions above 31 give 0; a field that runs past
 *         bit 31 is cut there.
 */
macro_word lmcr_shift(macro_word value, macro_word source, macro_word destination, macro_word width);

/**
 * Parity of a word: *result = (parity of `word`) XOR `sense`, in the least significant bit.
 *
 * @param sense  0 = even parity, 1 = inverted.
 * @return the word put into *result.
 */
macro_word lmcr_pgen(macro_word word, macro_word *result, macro_word sense, macro_word *ret);

/** As lmcr_pgen, with the parity bit that was read in the least significant bit of *result: generated XOR read. */
macro_word lmcr_pchk(macro_word word, macro_word *result, macro_word sense, macro_word *ret);

/**
 * Generates one check bit: the parity of the data bits that the mask words select, inverted when `sense` is 1.
 *
 * @param kind         number of data words and of mask words: 1 or 2.
 * @param data         the data words.
 * @param masks        the data bits that the check bit covers.
 * @param result       receives the check bit at each bit of *result_mask, all other bits 0.
 * @param result_mask  where in *result the check bit belongs.
 * @param sense        0 = even parity, 1 = inverted.
 * @return the word put into *result.
 */
macro_word lmcr_egen(macro_word kind, const macro_word *data, const macro_word *masks, macro_word *result,
                     const macro_word *result_mask, macro_word sense, macro_word *ret);

/** As lmcr_egen, with the check bit that was read in *result: it receives generated XOR read, one syndrome bit. */
macro_word lmcr_echk(macro_word kind, const macro_word *data, const macro_word *masks, macro_word *result,
                     const macro_word *result_mask, macro_word sense, macro_word *ret);

/**
 * Runs another macro by its test number (the four hexadecimal digits of its name) to completion.
 *
 * The number is looked up among the macros of every loaded macro library, then among those that the machine offers.
 * Calls may be nested 64 deep.
 *
 * @param rw                   direction of the called macro: 1, 2, or MACRO_ALL for none.
 * @param para,data,err,exp    areas of the called macro; it must not touch one that is a null pointer.
 * @return the called macro's result, or -1 when it could not be run.
 */
int32_t lmcr_maccall(macro_word unit_type, macro_word unit_no, const macro_word *mring, macro_word rw,
                     macro_word number, const macro_word *para, macro_word *data, macro_word *ret, macro_word *err,
                     macro_word *exp);

/**
 * I2C transfer.
 *
 * @param direction  1 = read into the buffer, 2 = write from it.
 * @param t2         port mask of the transfer, MACRO_ALL for the chip's own port.
 * @param device     device address or register number, 0 to 0xFF.
 * @param length     bytes, 1 to 4096; word i of the buffer holds bytes 4i to 4i + 3, the first the most significant.
 * @param mode       transfer mode: 2 = register access, 3 = command word.
 * @return 0
 */
macro_word lmcr_i2cctl(macro_word direction, macro_word t0, macro_word t1, macro_word t2, macro_word device,
                       macro_word *buffer, macro_word length, macro_word mode, macro_word *ret, macro_word *err,
                       macro_word unit_type, macro_word unit_no, const macro_word *mring);

/**
 * Register access through the maintenance bus controller.
 *
 * @param direction  1 = read, 2 = write.
 * @param a          MACRO_ALL = the controllers of all designated units, 0 = that of the first designated unit.
 * @param b          board mask or MACRO_ALL.
 * @param c          register bank, 0 being the controller's own.
 * @param address    register address in the bank.
 * @param length     bytes: 1, 2 or 4, right-aligned in the data word.
 * @param count      data words, transferred to consecutive addresses; 1 to 1024.
 * @return 0
 */
macro_word lmcr_mbcreg(macro_word direction, macro_word a, macro_word b, macro_word c, macro_word address,
                       macro_word length, macro_word *data, macro_word count, macro_word *ret, macro_word *err,
                       macro_word unit_type, macro_word unit_no, const macro_word *mring);

/** Waits before the next access.  @param units  microseconds; a simulated machine advances its clock instead. */
void lmcr_wait(macro_word units);

/**
 * A macro.
 *
 * @param _UNIT_TYPE,_UNIT_NO,_MRING  the unit to work on (docs/units.md); _MRING has MRING_WORDS words.
 * @param _RW    direction: 1 = read, 2 = write, where the macro offers both.
 * @param _PARA  parameter words.
 * @param _DATA  result words, for a write also the data.
 * @param _ERR   error record of ERROR_RECORD_WORDS words.
 * @param _EXP   expected words of comparing macros.
 * @return without meaning, but -1 after a failed primitive; _RETURN and the error record tell the outcome.
 */
typedef int macro_entry(macro_word _UNIT_TYPE, macro_word _UNIT_NO, const macro_word *_MRING, macro_word _RW,
                        const macro_word *_PARA, macro_word *_DATA, macro_word *_ERR, macro_word *_EXP);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
