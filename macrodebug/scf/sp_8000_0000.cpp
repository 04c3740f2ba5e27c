#include "frame/frame.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: sp_8000_0000 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// The service processor's I2C bus: device _PARA[0], length _PARA[1] in bytes, transfer mode _PARA[2].
struct I2cAccess : frame::Frame {
  int run() const {
    if (_RW != frame::READ && _RW != frame::WRITE)
      return frame::DONE;
    lmcr_i2cctl(_RW, MACRO_ALL, MACRO_ALL, MACRO_ALL, _PARA[0], _DATA, _PARA[1], _PARA[2], &_RETURN, _ERR, _UNIT_TYPE,
                _UNIT_NO, _MRING);
    // -1 after any access, done or failed: the status cell tells.
    return frame::STOPPED;
  }
};

}  // namespace

MACRO_ENTRY(sp_8000_0000, I2cAccess)
