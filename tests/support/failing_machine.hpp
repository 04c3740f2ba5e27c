#pragma once

#include <functional>
#include <memory>

#include "scdb/machine.hpp"

namespace support {

/// How a machine breaks down.
enum class Breakdown : std::uint8_t {
  none,
  dead,             ///< from the access on nobody answers
  no_acknowledge,   ///< the one access is not acknowledged
  lost_write,       ///< the one access, if it is a write, has no effect
  lost_writes,      ///< no write has an effect from there on
  stuck_0,          ///< everything reads as 0 from there on
  stuck_1,          ///< everything reads as ones from there on
  inverted_answer,  ///< the one access, if it is a read, gives its answer inverted
};

/// Whether accesses are refused, and not only spoilt.
[[nodiscard]] constexpr bool refuses(Breakdown how) {
  return how == Breakdown::dead || how == Breakdown::no_acknowledge;
}

/// Whether writes are lost, and not answers spoilt.
[[nodiscard]] constexpr bool loses(Breakdown how) {
  return how == Breakdown::lost_write || how == Breakdown::lost_writes;
}

/// A machine that works until a certain access, and then breaks down.
class FailingMachine : public scdb::Machine {
 public:
  FailingMachine(std::unique_ptr<scdb::Machine> sound, Breakdown how, std::size_t access)
      : sound_{std::move(sound)}, how_{how}, at_{access} {}

  /// Told before each access: whether it is a read.  A wait is no access.
  std::function<void(bool reads)> on_access;
  /// Accesses that were refused, lost or spoilt.
  [[nodiscard]] std::size_t struck() const { return struck_; }
  /// From now on everything works.
  void repair() { how_ = Breakdown::none; }

  [[nodiscard]] std::string name() const override { return "failing " + sound_->name(); }
  [[nodiscard]] bool simulated() const override { return true; }
  [[nodiscard]] std::vector<scdb::Chip> chips() const override { return sound_->chips(); }
  [[nodiscard]] bool has(scdb::Chip chip) const override { return sound_->has(chip); }
  [[nodiscard]] std::size_t ring_bits(scdb::Chip chip, unsigned ring) const override {
    return sound_->ring_bits(chip, ring);
  }
  [[nodiscard]] bool offers(macro_word number) const override { return sound_->offers(number); }
  void wait(macro_word microseconds) override { sound_->wait(microseconds); }
  scdb::Outcome jtag(std::span<const scdb::Chip> chips, scdb::JtagAccess kind, unsigned code,
                     macro_word &word) override;
  scdb::Outcome read_ring(std::span<const scdb::Chip> chips, unsigned ring, std::span<macro_word> words) override;
  scdb::Outcome write_ring(std::span<const scdb::Chip> chips, unsigned ring,
                           std::span<const macro_word> words) override;
  scdb::Outcome i2c(std::span<const scdb::Chip> chips, scdb::Direction direction, macro_word port, unsigned device,
                    unsigned mode, std::span<macro_word> words, unsigned bytes) override;
  scdb::Outcome mbc(std::span<const scdb::Chip> chips, scdb::Direction direction, macro_word bank, macro_word address,
                    unsigned bytes, macro_word &word) override;
  scdb::Outcome nested(const scdb::NestedCall &call) override;

 private:
  /// One access, of which the machine that works makes `pass`.
  /// @param answer where a read leaves its words; empty for a write.  @param bits how many of them are the answer's.
  template <class Pass>
  scdb::Outcome access(std::span<const scdb::Chip> chips, std::span<macro_word> answer, std::size_t bits, Pass pass);
  void spoil(std::span<macro_word> answer, std::size_t bits) const;

  std::unique_ptr<scdb::Machine> sound_;
  Breakdown how_;
  std::size_t at_;
  std::size_t accesses_ = 0;
  std::size_t struck_ = 0;
};

/// For messages.
[[nodiscard]] constexpr std::string_view name_of(Breakdown how) {
  constexpr std::string_view NAMES[] = {"none",        "dead",    "no acknowledge", "lost write",
                                        "lost writes", "stuck 0", "stuck 1",        "inverted answer"};
  return NAMES[static_cast<std::size_t>(how)];
}

}  // namespace support
