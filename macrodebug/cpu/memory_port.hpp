#pragma once

#include "frame/scan.hpp"

/// The CPU's four memory ports, which stand behind scan rings.
///
/// A macro opens the rings that it works on, keeps an image of one of them, and starts every pattern from this image.
/// It closes the rings whatever happens.  Most look for failed primitives at check points only: what comes before the
/// next check point is carried through, and its words are stored.
namespace cpu {

/// JTAG instruction: gives the chip's scan logic a command word.
inline constexpr macro_word SCAN_COMMAND = 0x8F;

// From one port to the next.
inline constexpr macro_word PORT_RINGS = 4;
inline constexpr macro_word PORT_COMMANDS = 0x40000;

/// From the addresses of one ring's bits to those of a ring `rings` codes above it.
[[nodiscard]] constexpr macro_word address_distance(macro_word rings) {
  return rings << 19;
}

/// What tells a port from the others.
struct Port {
  macro_word ring;
  macro_word addresses;  ///< to be added to the bit addresses of port 0
  macro_word commands;   ///< to be added to its command words
};
[[nodiscard]] consteval Port port(macro_word number) {
  return {48 + number * PORT_RINGS, address_distance(number * PORT_RINGS), number * PORT_COMMANDS};
}

/// A ring as it was before the first pattern.  Without initialiser: it is as large as a scan buffer.
using RingImage = macro_word[SCANBUFFER_WORDS];

/// A body that works on a memory port.
struct MemoryPort : frame::ScanFrame {
  static constexpr macro_word LAST_COUNT = 2048;
  static constexpr int32_t _SCANLENG = SCANBUFFER_WORDS;

  /// Whether the selector _PARA[0] is at most `last` and the count _PARA[1] is 1 to 2048; writes the error record when
  /// not.
  [[nodiscard]] bool check_parameters(macro_word last) const {
    if (_PARA[0] > last) {
      refuse(SUB_SELECTOR, _PARA[0]);
      return false;
    }
    if (_PARA[1] - 1 > LAST_COUNT - 1) {
      refuse(SUB_SECOND, _PARA[1]);
      return false;
    }
    return true;
  }

  /// Keeps what the buffer holds.
  static void keep(RingImage &_SCANWORK0) {
    for (int32_t _SCANCOUNT0 = 0; _SCANCOUNT0 < _SCANLENG; ++_SCANCOUNT0)
      _SCANWORK0[_SCANCOUNT0] = _SCANBUFFER[_SCANCOUNT0];
  }

  /// Puts it back into the buffer.
  static void start_from(const RingImage &_SCANWORK0) {
    for (int32_t _SCANCOUNT0 = 0; _SCANCOUNT0 < _SCANLENG; ++_SCANCOUNT0)
      _SCANBUFFER[_SCANCOUNT0] = _SCANWORK0[_SCANCOUNT0];
  }

  void command_untested(macro_word word) const {
    lmcr_jtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, frame::JTAG_WRITE, SCAN_COMMAND, word, frame::ONE, &_RETURN, _ERR,
              _UNIT_TYPE, _UNIT_NO, _MRING);
  }

  /// Sets a field in the buffer, `distance` positions above where it says.
  template <unsigned N>
  [[gnu::always_inline]] void insert_moved_untested(const frame::Field<N> &into, macro_word distance,
                                                    macro_word value) const {
    [&]<std::size_t... I>(std::index_sequence<I...>) {
      lmcr_sin(_SCANBUFFER, _ERR, &_RETURN, value, into.mask, (into.addresses[I] + distance)...);
    }
    (std::make_index_sequence<N>());
  }

  /// Takes such a field out of it.
  template <unsigned N>
  [[gnu::always_inline]] [[nodiscard]] macro_word extract_moved_untested(const frame::Field<N> &from,
                                                                         macro_word distance) const {
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
      return lmcr_sout(_SCANBUFFER, _ERR, &_RETURN, from.mask, (from.addresses[I] + distance)...);
    }
    (std::make_index_sequence<N>());
  }

  /// Writes the pattern in the buffer into the ring, lets the chip act on it, and reads the ring back.
  void apply_untested(macro_word ring, macro_word word) const {
    scan_untested(frame::SCAN_WRITE, ring);
    command_untested(word);
    scan_untested(frame::SCAN_READ, ring);
  }

  /// Closes rings, in the order in which they were opened, and sets the status cell: 0 when nothing has failed.
  /// @return the macro's result.
  template <class... Ring>
  [[nodiscard]] int close(bool went_on, Ring... rings) const {
    (scan_untested(frame::SCAN_CLOSE, rings), ...);
    went_on = went_on && running();
    _RETURN = went_on ? 0 : MACRO_FAILED;
    return ended(went_on);
  }
};

}  // namespace cpu
