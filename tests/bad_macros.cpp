// Macros that misbehave, to see what a host makes of them.  They work on the service processor, sp:0.0.
#include <array>
#include <cstddef>
#include <cstdint>

#include "libscfjtag.h"
#include "macrodebug.h"

#define BAD_MACRO(name)                                                                                                \
  extern "C" __attribute__((visibility("default"))) int name(                                                          \
      [[maybe_unused]] macro_word _UNIT_TYPE, [[maybe_unused]] macro_word _UNIT_NO,                                    \
      [[maybe_unused]] const macro_word *_MRING, [[maybe_unused]] macro_word _RW,                                      \
      [[maybe_unused]] const macro_word *_PARA, [[maybe_unused]] macro_word *_DATA, [[maybe_unused]] macro_word *_ERR, \
      [[maybe_unused]] macro_word *_EXP)

namespace {

std::ptrdiff_t signed_index(macro_word word) {
  return static_cast<std::int32_t>(word);
}

// The compiler must not see that the recursion has no end, nor turn it into a loop.
volatile int deeper = 1;
int recurse(int level) {  // NOLINT(misc-no-recursion): that is its fault
  const int below = deeper != 0 ? recurse(level + 1) : level;
  return below + deeper;
}

}  // namespace

// Accesses word _PARA[1] of area _PARA[0] in direction _RW, after one primitive call.
BAD_MACRO(sp_0001_0101) {
  lmcr_wait(1);
  const std::array<const macro_word *, 5> areas{_PARA, _DATA, _ERR, _EXP, _MRING};
  const volatile macro_word *word = areas[_PARA[0]] + signed_index(_PARA[1]);
  if (_RW == 1)
    return static_cast<int>(*word & 1);
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): a macro that does not keep to const.
  *const_cast<volatile macro_word *>(word) = 0x600DCAFE;
  return 0;
}

// Lets a primitive write word _PARA[0] of _DATA.
BAD_MACRO(sp_0002_0101) {
  lmcr_wait(1);
  lmcr_pgen(7, _DATA + signed_index(_PARA[0]), 0, &_RETURN);
  return 0;
}

// Writes through a pointer that leads nowhere.
BAD_MACRO(sp_0003_0101) {
  volatile std::uintptr_t nowhere = 64;  // hidden from the compiler, which would refuse it
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up address.
  *reinterpret_cast<volatile macro_word *>(nowhere) = 1;
  return 0;
}

// Runs out of stack.
BAD_MACRO(sp_0004_0101) {
  return recurse(0);
}

// Runs the first macro as a nested one.
BAD_MACRO(sp_0005_0101) {
  return lmcr_maccall(_UNIT_TYPE, _UNIT_NO, _MRING, _RW, 1, _PARA, _DATA, &_RETURN, _ERR, _EXP);
}

// Writes _DATA[_PARA[0]] and, when _PARA[1] is not 0, refuses with that sub-code and a location word.
BAD_MACRO(sp_0006_0101) {
  _DATA[_PARA[0]] = 0x12345678;
  if (_PARA[1] == 0)
    return 0;
  _ERR[ERR_CLASS] = ERR_PARAMETER;
  _ERR[ERR_SUBCODE] = _PARA[1];
  _ERR[ERR_VALUE] = _PARA[0];
  _ERR[ERR_LOCATION + 2] = 0x00030101;
  _RETURN = MACRO_FAILED;
  return 0;
}

// Opens ring _PARA[0] and leaves it so; then the ring 0x00, which no chip has.
BAD_MACRO(sp_0007_0101) {
  lmcr_scan(128, MACRO_ALL, MACRO_ALL, MACRO_ALL, _PARA[0], _SCANBUFFER, 1, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO,
            _MRING);
  if (_RETURN == MACRO_FAILED)
    return -1;
  lmcr_scan(0, MACRO_ALL, MACRO_ALL, MACRO_ALL, 0, _SCANBUFFER, 1, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO, _MRING);
  return -1;
}

// Scatters a word over ring bits, for the trace.
BAD_MACRO(sp_0008_0101) {
  lmcr_sin(_SCANBUFFER, _ERR, &_RETURN, 0xA5, 0xFFF, macro_word{0x01E00003}, macro_word{0x01E00002},
           macro_word{0x01E00001}, macro_word{0x01E000C5}, macro_word{0x71E80A8A});
  _DATA[0] = lmcr_sout(_SCANBUFFER, _ERR, &_RETURN, 0xFF, macro_word{0x71E80A8A});
  return 0;
}

// Two of one number.
BAD_MACRO(sp_0009_0101) {
  return 0;
}
BAD_MACRO(sp_0009_0102) {
  return 0;
}

// Calls through a pointer that leads nowhere.
BAD_MACRO(sp_000B_0101) {
  volatile std::uintptr_t nowhere = 64;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up address.
  return reinterpret_cast<int (*)()>(nowhere)();
}

// Writes _PARA[0] to a control register, opens ring 0x3C, and lets a primitive read it to where _DATA has no room for
// it.
BAD_MACRO(sp_000C_0101) {
  lmcr_jtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, 1, 0x41, _PARA[0], 1, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO, _MRING);
  lmcr_scan(128, MACRO_ALL, MACRO_ALL, MACRO_ALL, 0x3C, _SCANBUFFER, 1, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO, _MRING);
  lmcr_scan(0, MACRO_ALL, MACRO_ALL, MACRO_ALL, 0x3C, _DATA, 1, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO, _MRING);
  return 0;
}

// Makes one call and then never ends.
BAD_MACRO(sp_000A_0101) {
  lmcr_wait(1);
  volatile bool forever = true;
  while (forever) {
  }
  return 0;
}
