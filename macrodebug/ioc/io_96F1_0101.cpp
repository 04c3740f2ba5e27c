#include "frame/frame.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: io_96F1_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Reads (_RW 1) or writes (_RW 2, from _DATA[0]) a register behind the controller's I2C bridge.
///
/// _PARA[0] bit 0 is the port, _PARA[1] the unit behind it, _PARA[2] the register's byte address.  Registers stand in
/// lines of four lanes.  A read leaves its line in the bridge.  The result is -1 on every path.
struct BridgeAccess : frame::Frame {
  // I2C addresses of the bridge.
  static constexpr macro_word PHASE = 0xBC;
  static constexpr macro_word WORD = 0xBD;

  static constexpr macro_word CLOSE = 0;
  static constexpr macro_word OPEN = 0x90000000;
  static constexpr macro_word DATA_PHASE = 0xA0000000;
  static constexpr macro_word READ_COMMAND = 0x7A000000;
  static constexpr macro_word WRITE_COMMAND = 0x78000000;
  static constexpr macro_word FIRST_LANE = 0xF0000000;
  static constexpr macro_word LANES = 4;

  void send_untested(macro_word device, macro_word word) const {
    macro_word _M = word;
    lmcr_i2cctl(frame::WRITE, MACRO_ALL, MACRO_ALL, MACRO_ALL, device, &_M, sizeof _M, frame::I2C_COMMAND, &_RETURN,
                _ERR, _UNIT_TYPE, _UNIT_NO, _MRING);
  }

  /// Sends one command word to the bridge.
  [[nodiscard]] bool send(macro_word device, macro_word word) const {
    send_untested(device, word);
    return running();
  }

  /// Everything up to the lane mask.
  [[nodiscard]] bool address(macro_word command) const {
    const macro_word port = _PARA[0] & 1;
    const macro_word _H[2] = {port << 30, port << 31};
    const macro_word unit = _PARA[1];
    const macro_word where = _PARA[2];
    return send(PHASE, OPEN | _H[0]) && send(WORD, _H[1] | (where & 0x00FFFFC0) | command)
           && send(WORD, (unit << 16 & 0x7FFF0000) | (where >> 16 & 0x0000FF00) | (where << 2 & 0xC0))
           && send(PHASE, DATA_PHASE | _H[0]) && send(WORD, FIRST_LANE >> (4 * lane()));
  }

  [[nodiscard]] macro_word lane() const { return _PARA[2] >> 2 & 3; }

  int run() const {
    static_cast<void>(access());  // the status cell tells
    return frame::STOPPED;
  }

  [[nodiscard]] bool access() const {
    if (!send(PHASE, CLOSE))
      return false;
    if (_RW == frame::READ)
      return address(READ_COMMAND) && send(PHASE, CLOSE);
    return _RW != frame::WRITE || write_line();
  }

  /// Writes the addressed lane; the other lanes of the line carry 0 and are masked.
  [[nodiscard]] bool write_line() const {
    macro_word _D[LANES] = {};
    _D[lane()] = _DATA[0];
    if (!address(WRITE_COMMAND))
      return false;
    for (const macro_word word : _D)
      if (!send(WORD, word))
        return false;
    send_untested(PHASE, CLOSE);
    return true;
  }
};

}  // namespace

MACRO_ENTRY(io_96F1_0101, BridgeAccess)
