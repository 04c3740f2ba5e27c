#include "libscfjtag.h"

// Primitives that do nothing, at a call's price: over them, what a macro itself costs can be counted.  What they read
// is always the same word.

macro_word _RETURN;
macro_word _SCANBUFFER[SCANBUFFER_WORDS];
macro_word _SCANBUFFER1[SCANBUFFER_WORDS];
macro_word null_answer;

namespace {
constexpr macro_word READ = 1;
}

macro_word lmcr_jtag(macro_word, macro_word, macro_word, macro_word, macro_word, macro_word, macro_word, macro_word *,
                     macro_word *, macro_word, macro_word, const macro_word *) {
  return null_answer;
}

macro_word lmcr_mjtag(macro_word, macro_word, macro_word, macro_word, macro_word, macro_word, macro_word *,
                      macro_word *, macro_word, macro_word, const macro_word *, macro_word) {
  return 0;
}

/// One chip: macros that address a group go on.
int32_t lmcr_bcast(macro_word, macro_word, const macro_word *) {
  return 1;
}

macro_word lmcr_scan(macro_word, macro_word, macro_word, macro_word, macro_word, macro_word *, macro_word, macro_word *,
                     macro_word *, macro_word, macro_word, const macro_word *) {
  return 0;
}

// NOLINTNEXTLINE(cert-dcl50-cpp)
macro_word lmcr_sin(macro_word *, macro_word *, macro_word *, macro_word, macro_word, ...) {
  return 0;
}

// NOLINTNEXTLINE(cert-dcl50-cpp)
macro_word lmcr_sout(macro_word *, macro_word *, macro_word *, macro_word mask, ...) {
  return null_answer & mask;
}

/// Not quite nothing: parameters are taken apart with it, and macros go by what comes out.
macro_word lmcr_shift(macro_word value, macro_word source, macro_word destination, macro_word width) {
  if (source > 31 || destination > 31 || width == 0)
    return 0;
  return (value << source & (width > 31 ? MACRO_ALL : ~(MACRO_ALL >> width))) >> destination;
}

macro_word lmcr_pgen(macro_word, macro_word *, macro_word, macro_word *) {
  return 0;
}

macro_word lmcr_pchk(macro_word, macro_word *, macro_word, macro_word *) {
  return 0;
}

macro_word lmcr_egen(macro_word, const macro_word *, const macro_word *, macro_word *, const macro_word *, macro_word,
                     macro_word *) {
  return 0;
}

macro_word lmcr_echk(macro_word, const macro_word *, const macro_word *, macro_word *, const macro_word *, macro_word,
                     macro_word *) {
  return 0;
}

int32_t lmcr_maccall(macro_word, macro_word, const macro_word *, macro_word, macro_word, const macro_word *,
                     macro_word *, macro_word *, macro_word *, macro_word *) {
  return 0;
}

macro_word lmcr_i2cctl(macro_word direction, macro_word, macro_word, macro_word, macro_word, macro_word *buffer,
                       macro_word, macro_word, macro_word *, macro_word *, macro_word, macro_word, const macro_word *) {
  if (direction == READ)
    *buffer = null_answer;
  return 0;
}

macro_word lmcr_mbcreg(macro_word direction, macro_word, macro_word, macro_word, macro_word, macro_word,
                       macro_word *data, macro_word, macro_word *, macro_word *, macro_word, macro_word,
                       const macro_word *) {
  if (direction == READ)
    *data = null_answer;
  return 0;
}

void lmcr_wait(macro_word) {}
