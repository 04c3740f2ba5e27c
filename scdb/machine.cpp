#include "scdb/machine.hpp"

namespace scdb {

Machine::~Machine() = default;
MachineError::~MachineError() = default;

std::vector<Part> Machine::parts(Chip /*chip*/) const {
  return {};
}

Outcome Machine::jtag(std::span<const Chip> /*chips*/, JtagAccess /*access*/, unsigned /*code*/,
                      macro_word & /*word*/) {
  return Outcome::failure(Reason::unsupported);
}

std::size_t Machine::ring_bits(Chip /*chip*/, unsigned /*ring*/) const {
  return 0;
}

Outcome Machine::read_ring(std::span<const Chip> /*chips*/, unsigned /*ring*/, std::span<macro_word> /*words*/) {
  return Outcome::failure(Reason::unsupported);
}

Outcome Machine::write_ring(std::span<const Chip> /*chips*/, unsigned /*ring*/, std::span<const macro_word> /*words*/) {
  return Outcome::failure(Reason::unsupported);
}

Outcome Machine::i2c(std::span<const Chip> /*chips*/, Direction /*direction*/, macro_word /*port*/, unsigned /*device*/,
                     unsigned /*mode*/, std::span<macro_word> /*words*/, unsigned /*bytes*/) {
  return Outcome::failure(Reason::unsupported);
}

Outcome Machine::mbc(std::span<const Chip> /*chips*/, Direction /*direction*/, macro_word /*bank*/,
                     macro_word /*address*/, unsigned /*bytes*/, macro_word & /*word*/) {
  return Outcome::failure(Reason::unsupported);
}

void Machine::wait(macro_word /*microseconds*/) {}

bool Machine::offers(macro_word /*number*/) const {
  return false;
}

Outcome Machine::nested(const NestedCall & /*call*/) {
  return Outcome::failure(Reason::no_macro);
}

std::unique_ptr<Machine> Machine::copy() const {
  return nullptr;
}

std::optional<std::string> Machine::save_state() const {
  return std::nullopt;
}

void Machine::load_state(std::string_view /*text*/) {
  throw MachineError(name() + " keeps no state that could be loaded");
}

}  // namespace scdb
