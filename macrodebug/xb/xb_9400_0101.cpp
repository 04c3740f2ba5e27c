#include "xb/crossbar.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: xb_9400_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Reads or writes one RAM entry.  _PARA[0] is its place, _DATA[0] to _DATA[2] are its words.
struct RamEntry : xb::RamPort {
  int run() {
    _RETURN = 0;
    if (_RW != frame::WRITE)
      _DATA[0] = 0;
    if (!check_ram_unit())
      return frame::STOPPED;

    const macro_word _MPARA = _PARA[0] & PLACE;
    if (_RW == frame::READ && !(check_broadcast(_UNIT_TYPE) && read_entry(_MPARA, _DATA)))
      return frame::STOPPED;
    if (_RW == frame::WRITE && !write_entry(_MPARA, _DATA))
      return frame::STOPPED;
    return succeeded();
  }
};

}  // namespace

MACRO_ENTRY(xb_9400_0101, RamEntry)
