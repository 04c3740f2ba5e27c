#pragma once

#include "cpu/memory_port.hpp"

namespace cpu {

/// Through which rings a macro reaches a port's RAM.
struct LongRings {
  macro_word port;
  macro_word data;
  macro_word control;

  /// To be added to the bit addresses of port 0's data ring.
  [[nodiscard]] constexpr macro_word data_addresses() const { return address_distance(data - 48); }
  /// To be added to the bit addresses of port 0's control ring.
  [[nodiscard]] constexpr macro_word control_addresses() const { return address_distance(control - 51); }
  /// To be added to the command words of port 0.
  [[nodiscard]] constexpr macro_word commands() const { return port * PORT_COMMANDS; }
};

/// The rings of a port's own pair.
[[nodiscard]] consteval LongRings rings_of_port(macro_word port) {
  return {port, 48 + port * PORT_RINGS, 51 + port * PORT_RINGS};
}

/// Reads entries of the port's RAM into _DATA, or writes them from it: _PARA[1] entries from address _PARA[0] on.
///
/// An entry has eight groups of 80 bits.  A group takes three words of _DATA: 32 bits, 32 bits, and 16 bits in the
/// upper half.  The data ring shows them inverted, and so a word read is inverted once more as a whole: the lower half
/// of every third one is all ones.
struct LongWalk : MemoryPort {
  static constexpr macro_word LAST_ADDRESS = 2047;
  static constexpr macro_word GROUPS = 8;
  static constexpr macro_word GROUPS_OF_A_STEP = 2;
  static constexpr int32_t GROUP_WORDS = 3;
  static constexpr int32_t ENTRY_WORDS = 24;

  // Command words of the first group.  Those of the others count up from them.
  static constexpr macro_word WRITE_GROUP = 0x00000408;
  static constexpr macro_word READ_GROUP = 0x10000408;

  // The control ring.
  static constexpr auto DIRECTIONS = frame::field(0xFF, frame::descending<8>(0x1980FD7));
  static constexpr auto ENABLES = frame::field(0xFF, frame::run(0x1980FD9, 8));
  static constexpr auto ADDRESS = frame::field(0x3FF, frame::descending<2>(0x1980FBB), frame::descending<6>(0x1980FCA),
                                               frame::descending<2>(0x1980FC3));
  static constexpr macro_word ALL_READ = 0x00;
  static constexpr macro_word ALL_WRITE = 0xFF;
  static constexpr macro_word ALL_ENABLED = 0x00;
  static constexpr macro_word NONE_ENABLED = 0xFF;

  // The first group, in the control ring as it is written and in the data ring as it is read.
  static constexpr macro_word GROUP_DISTANCE = 96;
  static constexpr auto WRITTEN_0 = frame::field(0xFFFFFFFF, frame::descending<32>(0x1981071));
  static constexpr auto WRITTEN_1 = frame::field(0xFFFFFFFF, frame::descending<32>(0x1981051));
  static constexpr auto WRITTEN_2 = frame::field(0xFFFF0000, frame::run(0x1981012, 16));
  static constexpr auto READ_0 = frame::field(0xFFFFFFFF, frame::descending<32>(0x1806871));
  static constexpr auto READ_1 = frame::field(0xFFFFFFFF, frame::descending<32>(0x1806851));
  static constexpr auto READ_2 = frame::field(0xFFFF0000, frame::run(0x1806812, 16));

  static constexpr macro_word _ALLF = 0xFFFFFFFF;

  int run(const LongRings &rings) {
    if ((_RW != frame::READ && _RW != frame::WRITE) || !check_parameters(LAST_ADDRESS))
      return frame::DONE;
    if (!(open_ring(rings.data) && open_ring(rings.control)))
      return frame::STOPPED;
    insert_moved_untested(DIRECTIONS, rings.control_addresses(), _RW == frame::READ ? ALL_READ : ALL_WRITE);
    RingImage _SCANWORK0;
    keep(_SCANWORK0);

    // The end of an entry is the check point.
    _WORK0 = _PARA[0];
    macro_word *_WRD = _DATA;
    for (macro_word entry = 1; entry <= _PARA[1]; ++entry) {
      if (_RW == frame::READ)
        read_entry(rings, _SCANWORK0, _WRD);
      else
        write_entry(rings, _SCANWORK0, _WRD);
      ++_WORK0;
      _WRD += ENTRY_WORDS;
      if (!running())
        break;
    }
    return close(running(), rings.data, rings.control);
  }

  void read_entry(const LongRings &rings, const RingImage &_SCANWORK0, macro_word *_WRD) {
    start_from(_SCANWORK0);
    insert_moved_untested(ADDRESS, rings.control_addresses(), _WORK0);
    insert_moved_untested(ENABLES, rings.control_addresses(), ALL_ENABLED);
    scan_untested(frame::SCAN_WRITE, rings.control);
    for (macro_word group = 0; group < GROUPS; ++group)
      command_untested(READ_GROUP + rings.commands() + group);
    scan_untested(frame::SCAN_READ, rings.data);
    for (macro_word group = 0; group < GROUPS; ++group, _WRD += GROUP_WORDS) {
      const macro_word place = rings.data_addresses() + group * GROUP_DISTANCE;
      _WRD[0] = extract_moved_untested(READ_0, place) ^ _ALLF;
      _WRD[1] = extract_moved_untested(READ_1, place) ^ _ALLF;
      _WRD[2] = extract_moved_untested(READ_2, place) ^ _ALLF;
    }
  }

  /// In four steps of two groups.
  void write_entry(const LongRings &rings, const RingImage &_SCANWORK0, const macro_word *_WRD) {
    for (macro_word first = 0; first < GROUPS; first += GROUPS_OF_A_STEP) {
      start_from(_SCANWORK0);
      insert_moved_untested(ADDRESS, rings.control_addresses(), _WORK0);
      for (macro_word group = first; group < first + GROUPS_OF_A_STEP; ++group, _WRD += GROUP_WORDS) {
        const macro_word place = rings.control_addresses() + group * GROUP_DISTANCE;
        insert_moved_untested(WRITTEN_0, place, _WRD[0]);
        insert_moved_untested(WRITTEN_1, place, _WRD[1]);
        insert_moved_untested(WRITTEN_2, place, _WRD[2]);
      }
      insert_moved_untested(ENABLES, rings.control_addresses(), NONE_ENABLED ^ (0x3U << first));
      scan_untested(frame::SCAN_WRITE, rings.control);
      for (macro_word group = first; group < first + GROUPS_OF_A_STEP; ++group)
        command_untested(WRITE_GROUP + rings.commands() + group);
    }
  }
};

}  // namespace cpu
