#pragma once

#include <array>
#include <cstdint>

#include "machines/simulated/chip.hpp"

/// The CPU chip's way to its memory: four ports and two links.  docs/memory-ports.md describes them.
namespace simulated::ports {

inline constexpr unsigned PORTS = 4;

/// Instruction without data: takes what the links have received into the training ring.
inline constexpr unsigned SAMPLE = 0xF3;

/// A link: its bit of clock control 3, the ring of its driver, and its section of the training ring.
struct LinkRow {
  macro_word training;
  unsigned driver_ring;
  unsigned section;
};

class MemoryPorts {
 public:
  MemoryPorts() = default;
  /// @param state of the chip, with its rings and the clock generator's registers declared.
  explicit MemoryPorts(State &state);

  // The chip's hooks.
  /// A command word was given to the scan logic.  @return whether it was one for a port.
  [[nodiscard]] bool command(State &state, macro_word word) const;
  /// A ring was written.
  void ring_written(State &state, unsigned ring) const;
  /// A JTAG instruction was issued, with a word or without.  @param now microseconds since power-on.
  void issued(State &state, unsigned code, std::uint64_t now) const;

 private:
  /// A run of ring bits: the first is the most significant of its value, and is the lowest or the highest position.
  struct Bits {
    unsigned first;
    unsigned count;  ///< 1 to 32
    enum Order : int { UP = 1, DOWN = -1 } order;

    [[nodiscard]] unsigned lowest() const { return order == UP ? first : first - (count - 1); }
  };
  using Ring = std::optional<State::Id>;

  [[nodiscard]] static bool bit(State &state, Ring ring, unsigned position);
  static void set_bit(State &state, Ring ring, unsigned position, bool on);
  [[nodiscard]] static macro_word value(State &state, Ring ring, Bits bits);
  static void set_value(State &state, Ring ring, Bits bits, macro_word value);

  [[nodiscard]] Ring ring(unsigned code) const { return rings_[code - FIRST_RING]; }
  void identify(State &state, unsigned port) const;
  void select_entries(State &state, unsigned port) const;
  void index(State &state, unsigned port) const;
  void access_ram(State &state, unsigned port, unsigned group, bool reads) const;
  void sample(State &state, const LinkRow &link, bool locked) const;

  static constexpr unsigned FIRST_RING = 48;
  std::array<Ring, 16> rings_;
  Ring training_ring_;
  std::array<State::Id, PORTS> rams_{};
  std::array<State::Id, PORTS> tables_{};
  State::Id controls_ = 0;
  State::Id training_control_ = 0;
  State::Id link_phase_ = 0;
  State::Id link_time_ = 0;
};

}  // namespace simulated::ports
