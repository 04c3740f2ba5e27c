#include "xb/crossbar.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: xb_9430_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Opens the ports of all boards, checks their links, and fails when a link does.  _DATA[0] is the mask of failing
/// ports.
struct LinkTest : xb::Crossbar {
  static constexpr macro_word OPEN_PORTS = 0x148C;
  static constexpr macro_word CHECK_LINKS = 0x9434;

  static constexpr macro_word ALL_PORTS = 255;
  static constexpr macro_word BOTH_CHIPS = 3;
  static constexpr macro_word PORT_OPEN = 0x03000003;
  static constexpr macro_word SUB_LINKS = SUB_COUNT;

  int run() {
    _RETURN = 0;
    _DATA[0] = 0;
    if (!(check_unit(_UNIT_TYPE == xb::LINK_UNIT) && check_broadcast(xb::LINK_UNIT)))
      return frame::STOPPED;

    const macro_word _XUTNO = ALL_PORTS;
    macro_word _XRING[MRING_WORDS];
    macro_word _MPARA[32];
    macro_word _MDATA[32];
    xb::clear(_XRING);
    xb::clear(_MPARA);
    xb::clear(_MDATA);
    // A location word and a port word for each board of the unit number.
    int32_t _XRINGNO = 0;
    for (macro_word _XUTNOTMP = _XUTNO; _XUTNOTMP != 0; _XUTNOTMP >>= 1) {
      _XRING[_XRINGNO] = BOTH_CHIPS;
      _MPARA[_XRINGNO] = PORT_OPEN;
      ++_XRINGNO;
    }

    if (!(call_on(_XUTNO, _XRING, frame::NO_DIRECTION, OPEN_PORTS, _MPARA, _MDATA)
          && call_on(_XUTNO, _XRING, frame::NO_DIRECTION, CHECK_LINKS, _MPARA, _MDATA)))
      return frame::STOPPED;
    _DATA[0] = _MDATA[0];
    if (_DATA[0] == 0)
      return succeeded();
    refuse(SUB_LINKS, _DATA[0]);
    return frame::STOPPED;
  }
};

}  // namespace

MACRO_ENTRY(xb_9430_0101, LinkTest)
