#include "support/failing_machine.hpp"

namespace support {

using scdb::Chip;
using scdb::Direction;
using scdb::Outcome;
using scdb::Reason;

template <class Pass>
Outcome FailingMachine::access(std::span<const Chip> chips, std::span<macro_word> answer, std::size_t bits, Pass pass) {
  const std::size_t index = accesses_++;
  if (on_access)
    on_access(!answer.empty());
  const bool once =
      how_ == Breakdown::no_acknowledge || how_ == Breakdown::lost_write || how_ == Breakdown::inverted_answer;
  if (how_ == Breakdown::none || index < at_ || (once && index > at_))
    return pass();
  if (refuses(how_) || loses(how_) == answer.empty())
    ++struck_;
  if (refuses(how_)) {
    const Reason reason = how_ == Breakdown::dead ? Reason::dead_chip : Reason::no_acknowledge;
    return chips.empty() ? Outcome::failure(reason) : Outcome::failure(reason, chips.front());
  }
  if (loses(how_) && answer.empty())
    return Outcome::success();
  const Outcome outcome = pass();
  if (outcome.ok() && !loses(how_))
    spoil(answer, bits);
  return outcome;
}

void FailingMachine::spoil(std::span<macro_word> answer, std::size_t bits) const {
  for (macro_word &word : answer) {
    const macro_word mask = bits >= 32 ? MACRO_ALL : ~(MACRO_ALL >> bits);
    bits -= bits >= 32 ? 32 : bits;
    switch (how_) {
      case Breakdown::stuck_0:
        word = 0;
        break;
      case Breakdown::stuck_1:
        word |= mask;
        break;
      case Breakdown::inverted_answer:
        word ^= mask;
        break;
      default:
        break;
    }
  }
}

Outcome FailingMachine::jtag(std::span<const Chip> chips, scdb::JtagAccess kind, unsigned code, macro_word &word) {
  const bool reads = kind == scdb::JtagAccess::read;
  return access(chips, {&word, reads ? 1U : 0U}, 32, [&] { return sound_->jtag(chips, kind, code, word); });
}

Outcome FailingMachine::read_ring(std::span<const Chip> chips, unsigned ring, std::span<macro_word> words) {
  return access(chips, words, ring_bits(chips.front(), ring), [&] { return sound_->read_ring(chips, ring, words); });
}

Outcome FailingMachine::write_ring(std::span<const Chip> chips, unsigned ring, std::span<const macro_word> words) {
  return access(chips, {}, 0, [&] { return sound_->write_ring(chips, ring, words); });
}

Outcome FailingMachine::i2c(std::span<const Chip> chips, Direction direction, macro_word port, unsigned device,
                            unsigned mode, std::span<macro_word> words, unsigned bytes) {
  const bool reads = direction == Direction::read;
  return access(chips, reads ? words : std::span<macro_word>{}, std::size_t{bytes} * 8,
                [&] { return sound_->i2c(chips, direction, port, device, mode, words, bytes); });
}

Outcome FailingMachine::mbc(std::span<const Chip> chips, Direction direction, macro_word bank, macro_word address,
                            unsigned bytes, macro_word &word) {
  const bool reads = direction == Direction::read;
  const Outcome outcome = access(chips, {&word, reads ? 1U : 0U}, 32,
                                 [&] { return sound_->mbc(chips, direction, bank, address, bytes, word); });
  if (outcome.ok() && reads)
    word &= MACRO_ALL >> (32 - 8 * bytes);
  return outcome;
}

Outcome FailingMachine::nested(const scdb::NestedCall &call) {
  return access({}, {}, 0, [&] { return sound_->nested(call); });
}

}  // namespace support
