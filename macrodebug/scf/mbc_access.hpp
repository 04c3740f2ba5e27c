#pragma once

#include "frame/frame.hpp"

namespace scf {

/// The service processor's maintenance-bus registers: bank _PARA[0], address _PARA[1], length _PARA[2] in bytes.
/// @tparam CONTROLLERS MACRO_ALL = those of all designated units, 0 = that of the first.
template <macro_word CONTROLLERS>
struct MbcAccess : frame::Frame {
  int run() const {
    if (_RW != frame::READ && _RW != frame::WRITE)
      return frame::DONE;
    lmcr_mbcreg(_RW, CONTROLLERS, MACRO_ALL, _PARA[0], _PARA[1], _PARA[2], _DATA, frame::ONE, &_RETURN, _ERR,
                _UNIT_TYPE, _UNIT_NO, _MRING);
    // -1 after any access, done or failed: the status cell tells.
    return frame::STOPPED;
  }
};

}  // namespace scf
