#include "libscfjtag.h"

// Primitives that do nothing at all, at a call's price.

macro_word _RETURN;
macro_word _SCANBUFFER[SCANBUFFER_WORDS];
macro_word _SCANBUFFER1[SCANBUFFER_WORDS];

macro_word lmcr_jtag(macro_word, macro_word, macro_word, macro_word, macro_word, macro_word data, macro_word,
                     macro_word *, macro_word *, macro_word, macro_word, const macro_word *) {
  return data;
}

macro_word lmcr_shift(macro_word value, macro_word, macro_word, macro_word) {
  return value;
}
