#include "frame/frame.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: io_9685_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Runs macro _PARA[4] _PARA[5] times, reading, with this macro's own parameters, and counts in _DATA[0] how often its
/// two result words were _PARA[2] and _PARA[3], in _DATA[1] how often they were not.  There is room for these two words
/// alone: a macro that gives more must not be repeated.
struct Repeat : frame::Frame {
  int run() {
    macro_word _D[2] = {};
    int32_t result = frame::DONE;

    _DATA[0] = 0;
    _DATA[1] = 0;
    for (_WORK0 = 0; _WORK0 < _PARA[5]; ++_WORK0) {
      result = lmcr_maccall(_UNIT_TYPE, _UNIT_NO, _MRING, frame::READ, _PARA[4], _PARA, _D, &_RETURN, _ERR, _EXP);
      if (!running())
        return frame::STOPPED;
      const bool matches = _D[0] == _PARA[2] && _D[1] == _PARA[3];
      ++_DATA[matches ? 0 : 1];
    }
    return result;
  }
};

}  // namespace

MACRO_ENTRY(io_9685_0101, Repeat)
