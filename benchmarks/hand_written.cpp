#include "hand_written.hpp"

extern "C" int hand_written_dump(macro_word unit_type, macro_word unit_no, const macro_word *mring, macro_word /*rw*/,
                                 const macro_word * /*para*/, macro_word *data, macro_word *err, macro_word * /*exp*/) {
  int k = 0;
  for (unsigned base = 0; base <= 32; base += 16)
    for (unsigned i = 0; i < 8; ++i) {
      const macro_word c = lmcr_shift(base + i, 26, 6, 6);
      lmcr_jtag(~0U, ~0U, ~0U, 1, 0xB0, c | 0x60000000, 1, &_RETURN, err, unit_type, unit_no, mring);
      if (_RETURN == ~0U)
        return -1;
      macro_word word = lmcr_jtag(~0U, ~0U, ~0U, 0, 0xB1, 0, 1, &_RETURN, err, unit_type, unit_no, mring);
      if (_RETURN == ~0U)
        return -1;
      data[k] = word;
      lmcr_jtag(~0U, ~0U, ~0U, 1, 0xB0, c | 0x64000000, 1, &_RETURN, err, unit_type, unit_no, mring);
      if (_RETURN == ~0U)
        return -1;
      word = lmcr_jtag(~0U, ~0U, ~0U, 0, 0xB1, 0, 1, &_RETURN, err, unit_type, unit_no, mring);
      if (_RETURN == ~0U)
        return -1;
      data[k + 1] = word;
      k += 2;
    }
  return 0;
}
