#include "machines/simulated/chip.hpp"

#include <fmt/format.h>

namespace simulated {

using scdb::Direction;
using scdb::JtagAccess;
using scdb::Outcome;
using scdb::Reason;

const Blueprint &blueprint(scdb::ChipKind kind) {
  switch (kind) {
    case scdb::ChipKind::cpu:
      return CPU_CHIP;
    case scdb::ChipKind::mac:
      return MEMORY_CONTROLLER;
    case scdb::ChipKind::sc:
      return SYSTEM_CONTROLLER;
    case scdb::ChipKind::xb:
      return CROSSBAR;
    case scdb::ChipKind::ioc:
      return IO_CONTROLLER;
    default:
      return SERVICE_PROCESSOR;
  }
}

ChipModel::ChipModel(const ChipSetup &setup) : where_{setup.chip}, state_{setup.seed} {
  for (const auto &[code, bits] : setup.rings)
    rings_[code] = state_.add(ring_layout(code, bits));
}

ChipModel::~ChipModel() = default;

Reason ChipModel::before_read(unsigned /*code*/) {
  return Reason::none;
}
Reason ChipModel::after_write(unsigned /*code*/, macro_word /*word*/) {
  return Reason::none;
}
Reason ChipModel::instructed(unsigned /*code*/) {
  return Reason::none;
}
Reason ChipModel::before_device_read(unsigned /*device*/, unsigned /*instance*/) {
  return Reason::none;
}
void ChipModel::ring_written(unsigned /*ring*/) {}
Reason ChipModel::device_written(unsigned /*device*/, unsigned /*instance*/) {
  return Reason::none;
}
bool ChipModel::has_mbc(macro_word /*address*/) const {
  return false;
}
Reason ChipModel::run_nested(const scdb::NestedCall & /*call*/) {
  return Reason::no_macro;
}

Reason ChipModel::access_mbc(Direction /*direction*/, macro_word /*bank*/, macro_word /*address*/, unsigned /*bytes*/,
                             macro_word & /*word*/) {
  return Reason::unsupported;
}

State::Id ChipModel::add(const JtagRegister &row) {
  Layout layout = register_layout(row.name, row.count, row.note);
  layout.mask = row.mask;
  layout.reset = row.reset;
  const State::Id id = state_.add(std::move(layout));
  for (unsigned i = 0; i < row.count; ++i) {
    if (row.read != NO_CODE)
      readable_[row.read + i] = {id, i, true};
    if (row.write != NO_CODE)
      writable_[row.write + i] = {id, i, true};
  }
  has_jtag_ = true;
  return id;
}

State::Id ChipModel::add(const I2cDevice &row) {
  const unsigned instances = row.ports == 0 ? 1 : static_cast<unsigned>(std::popcount(row.ports));
  const std::size_t words = (row.bytes + 3) / 4;
  const std::size_t entries = std::size_t{row.count} * instances;
  Layout layout =
      words == 1 ? register_layout(row.name, entries, row.note) : array_layout(row.name, entries, words, row.note);
  layout.reset = row.reset;
  const State::Id id = state_.add(std::move(layout));
  for (unsigned i = 0; i < row.count; ++i)
    devices_[row.first + i] = {row.first + i, id, std::size_t{i} * instances, words, row};
  return id;
}

std::size_t ChipModel::bits_at(PlaceKind place, macro_word code) const {
  switch (place) {
    case PlaceKind::chip:
      return 32;
    case PlaceKind::jtag:
      return code < NO_CODE && (readable_[code].present || writable_[code].present || instructions_[code]) ? 32 : 0;
    case PlaceKind::ring:
      return ring_bits(code);
    case PlaceKind::i2c: {
      const auto at = devices_.find(code);
      return at == devices_.end() ? 0 : std::size_t{at->second.row.bytes} * 8;
    }
    case PlaceKind::mbc:
      return has_mbc(code) ? 32 : 0;
    case PlaceKind::cells:
      return state_.cells()[code].layout().entry_words * 32;
    case PlaceKind::nested:
      for (const macro_word number : blueprint(where_.kind).nested)
        if (number == code)
          return 32;
      return 0;
  }
  return 0;
}

Outcome ChipModel::outcome(Reason reason) const {
  return reason == Reason::none ? Outcome::success() : Outcome::failure(reason, where_);
}

Outcome ChipModel::jtag(JtagAccess access, unsigned code, macro_word &word) {
  const auto [refusal, lost] = state_.meet(PlaceKind::jtag, code);
  if (refusal != Reason::none)
    return outcome(refusal);
  if (!has_jtag_)
    return outcome(Reason::unsupported);
  switch (access) {
    case JtagAccess::read:
      return outcome(jtag_read(code, word));
    case JtagAccess::write:
      return outcome(jtag_write(code, word, lost));
    case JtagAccess::instruct:
      if (bits_at(PlaceKind::jtag, code) == 0)
        return outcome(Reason::no_register);
      return outcome(lost ? Reason::none : instructed(code));
  }
  return outcome(Reason::unsupported);
}

Reason ChipModel::jtag_read(unsigned code, macro_word &word) {
  const Register &behind = readable_[code];
  if (!behind.present)
    return bits_at(PlaceKind::jtag, code) != 0 ? Reason::write_only : Reason::no_register;
  if (const Reason reason = before_read(code); reason != Reason::none)
    return reason;
  word = state_.read(behind.cells, behind.index);
  state_.distort(PlaceKind::jtag, code, {&word, 1});
  return Reason::none;
}

Reason ChipModel::jtag_write(unsigned code, macro_word word, bool lost) {
  const Register &behind = writable_[code];
  if (!behind.present)
    return bits_at(PlaceKind::jtag, code) != 0 ? Reason::read_only : Reason::no_register;
  if (lost)
    return Reason::none;
  state_.write(behind.cells, behind.index, word);
  return after_write(code, word);
}

std::size_t ChipModel::ring_bits(unsigned ring) const {
  const auto at = rings_.find(ring);
  return at == rings_.end() ? 0 : state_.cells()[at->second].layout().part.entries;
}

Outcome ChipModel::read_ring(unsigned ring, std::span<macro_word> words) {
  const auto [refusal, lost] = state_.meet(PlaceKind::ring, ring);
  if (refusal != Reason::none)
    return outcome(refusal);
  const auto at = rings_.find(ring);
  if (at == rings_.end())
    return outcome(Reason::no_ring);
  state_.read(at->second, words);
  return outcome(Reason::none);
}

Outcome ChipModel::write_ring(unsigned ring, std::span<const macro_word> words) {
  const auto [refusal, lost] = state_.meet(PlaceKind::ring, ring);
  if (refusal != Reason::none)
    return outcome(refusal);
  const auto at = rings_.find(ring);
  if (at == rings_.end())
    return outcome(Reason::no_ring);
  if (lost)
    return outcome(Reason::none);
  state_.write(at->second, words);
  ring_written(ring);
  return outcome(Reason::none);
}

Outcome ChipModel::i2c(Direction direction, macro_word port, unsigned device, unsigned mode,
                       std::span<macro_word> words, unsigned bytes) {
  const auto [refusal, lost] = state_.meet(PlaceKind::i2c, device);
  if (refusal != Reason::none)
    return outcome(refusal);
  if (devices_.empty())
    return outcome(Reason::unsupported);
  const auto at = devices_.find(device);
  if (at == devices_.end())
    return outcome(Reason::no_device);
  return outcome(transfer(at->second, direction, port, mode, words, bytes, lost));
}

Reason ChipModel::transfer(const Device &device, Direction direction, macro_word port, unsigned mode,
                           std::span<macro_word> words, unsigned bytes, bool lost) {
  const I2cDevice &row = device.row;
  unsigned instance = 0;
  if (row.ports != 0) {
    if (!std::has_single_bit(port) || (port & row.ports) == 0)
      return Reason::no_device;
    instance = static_cast<unsigned>(std::popcount(row.ports & (port - 1)));
  } else if (port != MACRO_ALL) {
    return Reason::no_device;
  }
  if (row.mode != 0 && mode != row.mode)
    return Reason::unsupported;
  if (bytes > row.bytes)
    return Reason::no_entry;
  if (direction == Direction::read && !row.readable)
    return Reason::write_only;

  const std::size_t first = (device.index + instance) * device.words;
  const std::span<macro_word> data = words.first((bytes + 3) / 4);
  // The bytes of the last word that the transfer carries.
  const macro_word carried = bytes % 4 == 0 ? MACRO_ALL : ~(MACRO_ALL >> 8 * (bytes % 4));
  if (direction == Direction::read) {
    if (const Reason reason = before_device_read(device.number, instance); reason != Reason::none)
      return reason;
    for (std::size_t i = 0; i < data.size(); ++i)
      data[i] = state_.read(device.cells, first + i);
    state_.distort(PlaceKind::i2c, device.number, data);
    data.back() &= carried;
    return Reason::none;
  }
  if (lost)
    return Reason::none;
  const Cells &kept = state_.cells()[device.cells];
  const std::size_t last = first + data.size() - 1;
  for (std::size_t i = 0; i + 1 < data.size(); ++i)
    state_.write(device.cells, first + i, data[i]);
  state_.write(device.cells, last, (kept.get(last) & ~carried) | (data.back() & carried));
  return device_written(device.number, instance);
}

Outcome ChipModel::mbc(Direction direction, macro_word bank, macro_word address, unsigned bytes, macro_word &word) {
  const auto [refusal, lost] = state_.meet(PlaceKind::mbc, address);
  if (refusal != Reason::none)
    return outcome(refusal);
  if (lost && direction == Direction::write)
    return outcome(has_mbc(address) ? Reason::none : Reason::no_register);
  const Reason reason = access_mbc(direction, bank, address, bytes, word);
  if (reason == Reason::none && direction == Direction::read) {
    state_.distort(PlaceKind::mbc, address, {&word, 1});
    word &= MACRO_ALL >> (32 - 8 * bytes);
  }
  return outcome(reason);
}

Outcome ChipModel::nested(const scdb::NestedCall &call) {
  const auto [refusal, lost] = state_.meet(PlaceKind::nested, call.number);
  return outcome(refusal != Reason::none ? refusal : run_nested(call));
}

}  // namespace simulated
