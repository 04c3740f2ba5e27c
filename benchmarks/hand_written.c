#include "hand_written.h"

#include "macrodebug.h"

#define ENTRY(name)                                                                                                  \
  int name(macro_word unit_type, macro_word unit_no, const macro_word *mring, macro_word rw, const macro_word *para, \
           macro_word *data, macro_word *err, macro_word *expected)
#define UNUSED (void)rw, (void)para, (void)expected

/* Arguments that are the same in nearly every call. */
#define ALL MACRO_ALL, MACRO_ALL, MACRO_ALL
#define UNIT unit_type, unit_no, mring
#define WRITE(code, word) lmcr_jtag(ALL, 1, code, word, 1, &_RETURN, err, UNIT)
#define READ(code) lmcr_jtag(ALL, 0, code, 0, 1, &_RETURN, err, UNIT)
#define SCAN(mode, ring) lmcr_scan(mode, ALL, ring, _SCANBUFFER, 1, &_RETURN, err, UNIT)
#define SIN(value, mask, ...) lmcr_sin(_SCANBUFFER, err, &_RETURN, value, mask, __VA_ARGS__)
#define SOUT(mask, ...) lmcr_sout(_SCANBUFFER, err, &_RETURN, mask, __VA_ARGS__)
#define I2C(direction, number, buffer) lmcr_i2cctl(direction, ALL, number, buffer, 4, 2, &_RETURN, err, UNIT)

/* The test after a call. */
#define TEST                     \
  do {                           \
    if (_RETURN == MACRO_FAILED) \
      return -1;                 \
  } while (0)
#define DO(call) \
  do {           \
    call;        \
    TEST;        \
  } while (0)

/* Ring bit addresses that count down. */
#define DOWN_2(a) (a), (a)-1
#define DOWN_3(a) (a), (a)-1, (a)-2
#define DOWN_6(a) DOWN_3(a), DOWN_3((a)-3)
#define DOWN_8(a) DOWN_6(a), DOWN_2((a)-6)
#define DOWN_32(a) DOWN_8(a), DOWN_8((a)-8), DOWN_8((a)-16), DOWN_8((a)-24)

/* Register dump. */
ENTRY(hand_cp_9A10_0101) {
  UNUSED;
  int k = 0;
  for (int base = 0; base <= 32; base += 16)
    for (int i = 0; i < 8; ++i) {
      macro_word word;
      const macro_word c = lmcr_shift((macro_word)(base + i), 26, 6, 6);
      DO(WRITE(0xB0, c | 0x60000000));
      DO(word = READ(0xB1));
      data[k] = word;
      DO(WRITE(0xB0, c | 0x64000000));
      DO(word = READ(0xB1));
      data[k + 1] = word;
      k += 2;
    }
  return 0;
}

/* Check bits. */
ENTRY(hand_cp_9ACA_0101) {
  static const macro_word masks[] = {
      0x94948848, 0x55BB7B6C, 0x49494494, 0xBB557B8C, 0x61612212, 0x55EEDE93, 0x16161161, 0xEE55DE23,
      0x55BB7B6C, 0x94948848, 0xBB557B8C, 0x49494494, 0x55EEDE93, 0x61612212, 0xEE55DE23, 0x16161161,
  };
  static const macro_word senses[] = {0, 0, 1, 1, 1, 1, 0, 0};
  (void)unit_type, (void)unit_no, (void)mring, (void)rw, (void)err, (void)expected;
  macro_word read[3];
  read[0] = lmcr_shift(para[0], 16, 0, 16) | lmcr_shift(para[1], 0, 16, 16);
  read[1] = lmcr_shift(para[1], 16, 0, 16) | lmcr_shift(para[2], 0, 16, 16);
  read[2] = lmcr_shift(para[0], 0, 0, 8);
  macro_word result = 0;
  macro_word made = 0;
  for (macro_word i = 0; i < 8; ++i) {
    const macro_word at = 0x80000000 >> i;
    lmcr_egen(2, read, &masks[2 * i], &made, &at, senses[i], &_RETURN);
    result |= lmcr_shift(made, i, i, 1);
    made ^= lmcr_shift(read[2], i, i, 1);
    result |= lmcr_shift(made, i, 24 + i, 1);
  }
  data[0] = result;
  _RETURN = 0;
  return 0;
}

/* Array behind scan rings: the line RAM. */
ENTRY(hand_cp_9AC5_0101) {
  static const macro_word gates[] = {
      0x1B84FA5, 0x1B84F49, 0x1B84F48, 0x1B84F47, 0x1B84F46, 0x1B84F45,
      0x1B84F32, 0x1B84F31, 0x1B84F30, 0x1B84F2F, 0x1B84F2E,
  };
  static const macro_word order[] = {
      0,  8,  1,  9,  2,  10, 3,  11, 4,  12, 5,  13, 6,  14, 7,  15,
      16, 24, 17, 25, 18, 26, 19, 27, 20, 28, 21, 29, 22, 30, 23, 31,
  };
  (void)rw, (void)expected;
  macro_word line = lmcr_shift(para[0], 27, 27, 5);
  if (para[1] - 1 > 31)
    return -1;
  DO(SCAN(128, 60));
  DO(SCAN(128, 61));
  DO(SCAN(128, 55));
  DO(SCAN(0, 55));
  DO(SIN(0, 7, DOWN_3((macro_word)0x1B84FA8)));
  for (unsigned i = 0; i < sizeof gates / sizeof *gates; ++i)
    DO(SIN(0, 1, gates[i]));
  DO(SCAN(1, 55));
  DO(SCAN(0, 61));
  DO(SIN(0, 1, (macro_word)0x1E8070D));
  DO(SIN(0, 1, (macro_word)0x1E80709));
  int k = 0;
  int word = 0;
  for (macro_word lines = para[1]; lines > 0; --lines, ++line)
    for (; word < 32; ++word) {
      macro_word entry[4];
      macro_word bits;
      DO(SIN(lmcr_shift(line, 27, 22, 5) | order[word], 0x3FF, (macro_word)0x1E8070E, (macro_word)0x81E80711));
      DO(SCAN(1, 61));
      DO(WRITE(0x8F, 0x100001FF));
      DO(SCAN(0, 55));
      DO(bits = SOUT(0xFFFFFFFF, DOWN_32((macro_word)0x1B873A8)));
      entry[0] = ~bits;
      DO(bits = SOUT(0xFFFFFFFF, DOWN_32((macro_word)0x1B87388)));
      entry[1] = ~bits;
      DO(bits = SOUT(0xFF000000, DOWN_8((macro_word)0x1B87368)));
      entry[2] = bits ^ 0xFF000000;
      DO(lmcr_maccall(UNIT, MACRO_ALL, 0x9ACC, entry, &entry[3], &_RETURN, err, 0));
      data[k] = entry[0];
      data[k + 1] = entry[1];
      data[k + 2] = lmcr_shift(entry[3], 0, 16, 8) | entry[2];
      k += 3;
      DO(SCAN(0, 61));
    }
  DO(SCAN(129, 55));
  DO(SCAN(129, 60));
  DO(SCAN(129, 61));
  return 0;
}

/* Clocks stopped and started. */
ENTRY(hand_cp_9AF1_0101) {
  static const struct {
    macro_word keep, set, then;
  } steps[] = {
      {~0x00A00000U, 0, 0},    {~0x00F00000U, 0, 0}, {~0U, 0x000C0000, 0xF1},
      {~0x10000000U, 0, 0xF2}, {~0x20000000U, 0, 0},
  };
  (void)rw, (void)expected;
  for (unsigned i = 0; i < sizeof steps / sizeof *steps; ++i) {
    macro_word control;
    DO(control = READ(0xE1));
    DO(WRITE(0xD1, (control & steps[i].keep) | steps[i].set));
    if (steps[i].then != 0)
      DO(WRITE(steps[i].then, 0));
  }
  DO(WRITE(0x01, 0xC0000000));
  for (macro_word i = 0; i < 32; ++i)
    DO(WRITE(0x40 + i, data[i]));
  DO(WRITE(0xD5, para[0]));
  DO(WRITE(0x34, para[1]));
  DO(WRITE(0x35, para[2]));
  DO(WRITE(0x36, para[3]));
  DO(WRITE(0xD8, 0));
  lmcr_wait(10);
  DO(WRITE(0x17, 0));
  DO(WRITE(0x19, 0));
  DO(WRITE(0xF6, 0));
  DO(WRITE(0xD9, 0));
  lmcr_wait(10);
  return 0;
}

/* The ring, kept and put back. */
static void copy(macro_word *to, const macro_word *from) {
  for (int i = 0; i < SCANBUFFER_WORDS; ++i)
    to[i] = from[i];
}

/* Long macro: a memory port's RAM. */
ENTRY(hand_cpj_A300_0101) {
  macro_word kept[SCANBUFFER_WORDS];
  (void)expected;
  if (rw != 1 || para[0] > 2047 || para[1] - 1 > 2047)
    return 0;
  DO(SCAN(128, 48));
  DO(SCAN(128, 51));
  SIN(0, 0xFF, DOWN_8((macro_word)0x1980FD7));
  copy(kept, _SCANBUFFER);
  for (macro_word entry = 0; entry < para[1] && _RETURN != MACRO_FAILED; ++entry) {
    copy(_SCANBUFFER, kept);
    SIN(para[0] + entry, 0x3FF, DOWN_2((macro_word)0x1980FBB), DOWN_6((macro_word)0x1980FCA),
        DOWN_2((macro_word)0x1980FC3));
    SIN(0, 0xFF, (macro_word)0x71980FD9);
    SCAN(1, 51);
    for (macro_word group = 0; group < 8; ++group)
      WRITE(0x8F, 0x10000408 + group);
    SCAN(0, 48);
    for (macro_word group = 0; group < 8; ++group, data += 3) {
      data[0] = ~SOUT(0xFFFFFFFF, DOWN_32(0x1806871 + group * 96));
      data[1] = ~SOUT(0xFFFFFFFF, DOWN_32(0x1806851 + group * 96));
      data[2] = ~SOUT(0xFFFF0000, 0xF1806812 + group * 96);
    }
  }
  int failed = _RETURN == MACRO_FAILED;
  SCAN(129, 48);
  SCAN(129, 51);
  failed = failed || _RETURN == MACRO_FAILED;
  _RETURN = failed ? MACRO_FAILED : 0;
  return failed ? -1 : 0;
}

/* Memory port: a pattern, the chip's answer, the next pattern. */
ENTRY(hand_cpj_A303_0101) {
  macro_word kept[SCANBUFFER_WORDS];
  (void)expected;
  if (rw != 1 || para[0] > 0 || para[1] - 1 > 2047)
    return 0;
  DO(SCAN(128, 48));
  copy(kept, _SCANBUFFER);
  for (int pass = 0; pass < 2 && _RETURN != MACRO_FAILED; ++pass)
    for (macro_word selection = 0; selection < 4; ++selection)
      for (macro_word id = pass == 0 ? 0x80 : 0x08, last = pass == 0 ? 0x10 : 0x01; id >= last; id >>= 1) {
        copy(_SCANBUFFER, kept);
        SIN(selection, 3, (macro_word)0x11803AB4);
        SIN(id, 0xFF, (macro_word)0x7180482D);
        SCAN(1, 48);
        WRITE(0x8F, 0x80000401);
        SCAN(0, 48);
        *data++ = SOUT(0xFFFFFFFF, DOWN_8((macro_word)0x1803ABE), DOWN_8((macro_word)0x1803AC7),
                       DOWN_8((macro_word)0x1803AD0), DOWN_8((macro_word)0x1803AD9));
        *data++ = SOUT(0xF, (macro_word)0x1803AB6, (macro_word)0x1803ABF, (macro_word)0x1803AC8, (macro_word)0x1803AD1);
        *data++ = SOUT(0xFFFFFFFF, DOWN_8((macro_word)0x1803AE2), DOWN_8((macro_word)0x1803AEB),
                       DOWN_8((macro_word)0x1803AF4), DOWN_8((macro_word)0x1803AFD));
        *data++ = SOUT(0xF, (macro_word)0x1803ADA, (macro_word)0x1803AE3, (macro_word)0x1803AEC, (macro_word)0x1803AF5);
      }
  int failed = _RETURN == MACRO_FAILED;
  SCAN(129, 48);
  failed = failed || _RETURN == MACRO_FAILED;
  _RETURN = failed ? MACRO_FAILED : 0;
  return failed ? -1 : 0;
}

/* Polling. */
ENTRY(hand_ma_9009_0101) {
  static const macro_word registers[] = {108, 109};
  (void)rw, (void)expected;
  if (para[0] != 1 && para[0] != 2)
    return -1;
  const macro_word completion = registers[para[0] - 1];
  data[0] = data[1] = data[2] = 0;
  macro_word word = 0x1000404C;
  DO(I2C(2, completion, &word));
  word = 0x08008000;
  DO(I2C(2, completion, &word));
  macro_word state = 0;
  for (int i = 0; i < 11 && state == 0; ++i) {
    word = 0;
    DO(I2C(1, completion, &word));
    state = word & 0x4C;
    lmcr_wait(1000);
  }
  if (state == 0x40) {
    data[0] = 0x80000000;
    return -1;
  }
  if (state == 0) {
    word = 0x10004000;
    DO(I2C(2, completion, &word));
  }
  data[0] = 0x40000000;
  if (state == 0)
    data[para[0]] |= 0x20000000;
  if ((state & 8) != 0)
    data[para[0]] |= 0x80000000;
  if ((state & 4) != 0)
    data[para[0]] |= 0x40000000;
  return -1;
}

/* DIMM registers. */
ENTRY(hand_ma_9067_0101) {
  static const struct {
    unsigned char bit, common, first, count, second, second_count;
  } groups[] = {
      {2, 0, 158, 1, 140, 1}, {3, 0, 159, 1, 142, 1}, {5, 0, 90, 1, 0, 0},   {6, 0, 117, 2, 0, 0},
      {7, 0, 125, 1, 127, 1}, {8, 1, 144, 5, 0, 0},   {9, 1, 150, 2, 0, 0},  {10, 1, 152, 4, 0, 0},
      {12, 1, 160, 10, 0, 0}, {13, 1, 170, 2, 0, 0},  {14, 1, 172, 4, 0, 0}, {16, 1, 176, 10, 0, 0},
      {17, 1, 186, 2, 0, 0},  {18, 1, 188, 4, 0, 0},
  };
  static const unsigned char common[][2] = {{192, 2}, {195, 2}, {198, 13}, {224, 3}};
  (void)rw, (void)expected;
  int k = 0;
  int with_common = 0;
  for (unsigned i = 0; i < sizeof groups / sizeof *groups; ++i) {
    if (lmcr_shift(para[0], groups[i].bit, 31, 1) != 1) {
      k += groups[i].count + groups[i].second_count;
      continue;
    }
    for (macro_word n = 0; n < groups[i].count; ++n) {
      macro_word word = 0;
      DO(I2C(1, groups[i].first + n, &word));
      data[k++] = word;
    }
    for (macro_word n = 0; n < groups[i].second_count; ++n) {
      macro_word word = 0;
      DO(I2C(1, groups[i].second + n, &word));
      data[k++] = word;
    }
    with_common |= groups[i].common;
  }
  for (unsigned i = 0; with_common && i < sizeof common / sizeof *common; ++i)
    for (macro_word n = 0; n < common[i][1]; ++n) {
      macro_word word = 0;
      DO(I2C(1, common[i][0] + n, &word));
      data[k++] = word;
    }
  return 0;
}

/* Table RAM, byte by byte. */
ENTRY(hand_sc_93C0_0101) {
  (void)expected;
  if (rw != 1 || para[0] > 511 || para[1] > 511 - para[0])
    return -1;
  for (macro_word entry = para[0]; entry < para[0] + para[1]; ++entry)
    for (macro_word i = 0; i < 4; ++i, data += 3) {
      const macro_word way = lmcr_shift(i, 30, 14, 2);
      DO(WRITE(136, 0x40600000 | way | entry));
      for (macro_word byte = 2; byte <= 11; ++byte) {
        macro_word word;
        DO(WRITE(136, (0xC0600000 | way) | (0x1000 + (byte - 2) * 0x400)));
        DO(word = READ(52));
        word = lmcr_shift(word, 24, byte % 4 * 8, 8);
        data[byte / 4] = byte == 2 || byte % 4 == 0 ? word : data[byte / 4] | word;
      }
      DO(WRITE(136, (0xC0600000 | way) | 0x3C00));
    }
  return 0;
}

/* Crossbar dump. */
ENTRY(hand_xb_9408_0101) {
  UNUSED;
  _RETURN = 0;
  data[0] = 0;
  if ((unit_type != 4 && unit_type != 16) || lmcr_bcast(UNIT) <= 0)
    return -1;
  for (macro_word ram = 0x90; ram < 0xEC; ram = ram == 0xD3 ? 0xE0 : ram + 1)
    for (macro_word entry = 0; entry < 512; ++entry, data += 3) {
      macro_word word;
      DO(WRITE(0x88, 0x40000000 | ram << 16 | entry));
      DO(word = READ(0x34));
      data[0] = word;
      DO(word = READ(0x35));
      data[1] = word;
      DO(word = READ(0x36));
      data[2] = word;
    }
  return (int)_RETURN;
}
