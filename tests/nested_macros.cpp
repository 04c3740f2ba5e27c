// Macros that call macros, to see what becomes of a failure on its way up.
#include "frame/scan.hpp"

namespace {

/// A level of a chain, which calls the next one while its ring is open and changed.
///
/// _PARA[0]: levels below this one.  _PARA[1] bit n: the level with n below closes its ring after a failure too.
/// _PARA[2]: from a level's ring to that of the level above.  _PARA[3]: what the lowest level calls, 0 = nothing, with
/// _PARA[4] as _RW, _PARA[5] as its first parameter and _DATA[16] as its first word.
struct Level : frame::ScanFrame {
  static constexpr macro_word NUMBER = 0x0100;
  static constexpr macro_word FIRST_RING = 0x30;
  static constexpr macro_word ANSWER = 0xB1;
  static constexpr macro_word COMMAND = 0xB0;
  static constexpr auto MARK = frame::field(0xFFFF, frame::run(frame::ring_bit(FIRST_RING, 1000), 16));

  int run() {
    const macro_word ring = FIRST_RING + _PARA[0] * _PARA[2];
    if (!open_ring(ring))
      return frame::STOPPED;
    const bool done = insert(MARK, 0xA5A5) && write_ring(ring) && read(ANSWER, _DATA[_PARA[0]]) && go_down()
                      && write(COMMAND, 0x60000000);
    if (!done && (_PARA[1] >> _PARA[0] & 1) == 0)
      return frame::STOPPED;
    scan_untested(frame::SCAN_CLOSE, ring);
    return ended(running());
  }

  [[nodiscard]] bool go_down() const {
    const macro_word para[] = {_PARA[0] - 1, _PARA[1], _PARA[2], _PARA[3], _PARA[4], _PARA[5]};
    if (_PARA[0] != 0)
      return call(_RW, NUMBER, para, _DATA);
    return _PARA[3] == 0 || call(_PARA[4], _PARA[3], _PARA + 5, _DATA + 16);
  }
};

/// Calls itself _PARA[0] times, one in another, and counts its runs in _DATA[0].
struct Countdown : frame::Frame {
  int run() {
    ++_DATA[0];
    const macro_word para[] = {_PARA[0] - 1};
    return ended(_PARA[0] == 0 || call(_RW, 0x0101, para, _DATA));
  }
};

}  // namespace

MACRO_ENTRY(cp_0100_0101, Level)
MACRO_ENTRY(cp_0101_0101, Countdown)
