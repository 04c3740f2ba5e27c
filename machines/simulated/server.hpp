#pragma once

#include <array>
#include <memory>

#include "machines/simulated/chip.hpp"
#include "machines/simulated/description.hpp"

namespace simulated {

/// The simulated server.
class Server final : public scdb::Machine {
 public:
  /// @throw scdb::MachineError when a fault sits on a chip or a place that the machine does not have.
  explicit Server(const Description &description);
  ~Server() override = default;
  Server &operator=(const Server &) = delete;

  [[nodiscard]] std::string name() const override { return name_; }
  [[nodiscard]] bool simulated() const override { return true; }
  [[nodiscard]] std::vector<scdb::Chip> chips() const override;
  [[nodiscard]] bool has(scdb::Chip chip) const override;
  [[nodiscard]] bool can_broadcast() const override { return broadcast_; }
  [[nodiscard]] std::vector<scdb::Part> parts(scdb::Chip chip) const override;

  scdb::Outcome jtag(std::span<const scdb::Chip> chips, scdb::JtagAccess access, unsigned code,
                     macro_word &word) override;
  [[nodiscard]] std::size_t ring_bits(scdb::Chip chip, unsigned ring) const override;
  scdb::Outcome read_ring(std::span<const scdb::Chip> chips, unsigned ring, std::span<macro_word> words) override;
  scdb::Outcome write_ring(std::span<const scdb::Chip> chips, unsigned ring,
                           std::span<const macro_word> words) override;
  scdb::Outcome i2c(std::span<const scdb::Chip> chips, scdb::Direction direction, macro_word port, unsigned device,
                    unsigned mode, std::span<macro_word> words, unsigned bytes) override;
  scdb::Outcome mbc(std::span<const scdb::Chip> chips, scdb::Direction direction, macro_word bank, macro_word address,
                    unsigned bytes, macro_word &word) override;
  void wait(macro_word microseconds) override;
  [[nodiscard]] bool offers(macro_word number) const override;
  scdb::Outcome nested(const scdb::NestedCall &call) override;

  [[nodiscard]] std::unique_ptr<scdb::Machine> copy() const override;
  [[nodiscard]] std::optional<std::string> save_state() const override;
  void load_state(std::string_view text) override;

 private:
  Server(const Server &other)
      : scdb::Machine{},  // NOLINT(readability-redundant-member-init): gcc wants the base of a copy named
        name_{other.name_},
        broadcast_{other.broadcast_},
        now_{other.now_},
        slots_{other.copy_slots()} {}

  /// Chips have their slots in ascending order, with room for as many on every board as its location word can name.
  static constexpr unsigned CHIPS_OF_A_KIND = 4;
  using Slots =
      std::array<std::unique_ptr<ChipModel>, scdb::CHIP_KINDS.size() * scdb::BOARDS * std::size_t{CHIPS_OF_A_KIND}>;

  [[nodiscard]] static std::size_t slot(scdb::Chip chip);
  [[nodiscard]] Slots copy_slots() const;
  void add_chips(const Description &description);
  void add_fault(const FaultLine &line);
  void set_time(std::uint64_t now);
  /// Differs between machines whose saved states are not exchangeable.
  [[nodiscard]] macro_word fingerprint() const;

  /// Makes an access to each chip in turn: `Outcome access(ChipModel &)`.
  template <class Access>
  scdb::Outcome each(std::span<const scdb::Chip> chips, Access &&access) {
    if (chips.size() > 1 && !broadcast_)
      return scdb::Outcome::failure(scdb::Reason::unsupported);
    for (const scdb::Chip &chip : chips)
      if (const scdb::Outcome outcome = access(*slots_[slot(chip)]); !outcome.ok())
        return outcome;
    return scdb::Outcome::success();
  }

  friend class StateText;

  std::string name_;
  bool broadcast_;
  std::uint64_t now_ = 0;  ///< microseconds since power-on
  Slots slots_;
};

}  // namespace simulated
