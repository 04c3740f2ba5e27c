#include "xb/crossbar.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: xb_9434_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Trains the links of all boards and checks each.  _DATA[0] is the mask of failing ports: bits 0-7 on the first side,
/// bits 16-23 on the second, bit 0 being the least significant.
///
/// Each called macro takes three parameter words (the port word, the side, the number of status words wanted) and gives
/// its status in the first result word.
struct LinkCheck : xb::Crossbar {
  // Macros called.
  static constexpr macro_word GET_MODE = 0x1480;
  static constexpr macro_word SET_RATE = 0x1481;
  static constexpr macro_word CALIBRATE = 0x1482;
  static constexpr macro_word TRAIN = 0x1483;
  static constexpr macro_word START = 0x1484;
  static constexpr macro_word CLEAR_ERRORS = 0x1485;
  static constexpr macro_word GET_STATUS = 0x1488;

  static constexpr macro_word FIRST_BOARD = 1;
  static constexpr macro_word ALL_PORTS = 255;
  static constexpr int32_t PORTS = 8;
  static constexpr macro_word BOTH_CHIPS = 3;

  // Parameter and result words.
  static constexpr macro_word PORT_WORD = 0x03000000;
  static constexpr macro_word FROM_SCRATCH = 0x80;
  static constexpr macro_word LOW_BYTE = 0xFF;
  static constexpr macro_word SECOND_SIDE = 0x00200000;
  static constexpr macro_word MODE = 0x00C00000;
  static constexpr macro_word MODE_RETRAINED = 0x00400000;
  static constexpr macro_word MODE_FIXED_RATE = 0x00800000;
  static constexpr macro_word STATE = 0xFF00;
  static constexpr macro_word RUNNING = 0x8800;
  static constexpr int32_t BLOCK = 16;  ///< words from the first side's block to the second's

  int run() {
    _RETURN = 0;
    _DATA[0] = 0;
    if (_UNIT_TYPE != xb::LINK_UNIT) {
      _ERR[ERR_PLACE] = _UNIT_TYPE;
      refuse_unit();
      return frame::STOPPED;
    }

    macro_word _XPARA[64];
    macro_word _MDATA[32];
    macro_word _XRING0[MRING_WORDS];  // location words of the first board,
    macro_word _XRING1[MRING_WORDS];  // of all boards,
    macro_word _XRING2[MRING_WORDS];  // of one port's first side
    macro_word _XRING3[MRING_WORDS];  // and second side
    xb::clear(_XPARA);
    xb::clear(_MDATA);
    designate_all(_XRING0);
    designate_all(_XRING1);
    designate_all(_XRING2);
    designate_all(_XRING3);
    _XPARA[0] = _XPARA[BLOCK] = PORT_WORD;
    _XPARA[BLOCK + 1] = SECOND_SIDE;
    _XPARA[2] = _XPARA[BLOCK + 2] = 1;
    macro_word &port_word = _XPARA[0];

    if (!call_on(FIRST_BOARD, _XRING0, frame::READ, GET_MODE, _XPARA, _MDATA))
      return frame::STOPPED;
    const macro_word mode = _MDATA[0] & MODE;

    const auto all_ports = [&](macro_word number) {
      return call_on(ALL_PORTS, _XRING1, frame::NO_DIRECTION, number, _XPARA, _MDATA);
    };
    if (!all_ports(CALIBRATE))
      return frame::STOPPED;
    if (mode != MODE_FIXED_RATE) {
      if (!all_ports(SET_RATE))
        return frame::STOPPED;
      port_word |= FROM_SCRATCH;
      if (!all_ports(CALIBRATE))
        return frame::STOPPED;
      port_word &= ~LOW_BYTE;
    }
    if (!(all_ports(TRAIN) && (mode != MODE_RETRAINED || all_ports(CALIBRATE)) && all_ports(START)
          && all_ports(CLEAR_ERRORS)))
      return frame::STOPPED;

    // A port word that still asks for more than the state of the link has no answer to judge.
    const auto fails = [&](macro_word status) { return port_word == PORT_WORD && (status & STATE) != RUNNING; };
    for (macro_word _XUTNO0 = 1; _XUTNO0 <= ALL_PORTS; _XUTNO0 <<= 1) {
      if (!call_on(_XUTNO0, _XRING2, frame::NO_DIRECTION, GET_STATUS, _XPARA, _MDATA))
        return frame::STOPPED;
      if (fails(_MDATA[0]))
        _DATA[0] |= _XUTNO0;
      if (!call_on(_XUTNO0, _XRING3, frame::NO_DIRECTION, GET_STATUS, _XPARA + BLOCK, _MDATA + BLOCK))
        return frame::STOPPED;
      if (fails(_MDATA[BLOCK]))
        _DATA[0] |= _XUTNO0 << 16;
    }
    return succeeded();
  }

  static void designate_all(macro_word (&ring)[MRING_WORDS]) {
    xb::clear(ring);
    for (int32_t board = 0; board < PORTS; ++board)
      ring[board] = BOTH_CHIPS;
  }
};

}  // namespace

MACRO_ENTRY(xb_9434_0101, LinkCheck)
