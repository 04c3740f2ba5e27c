#include "engine/run/trace.hpp"

#include <fmt/format.h>

#include <span>

#include "engine/text/words.hpp"
#include "engine/unit/selection.hpp"
#include "scdb/access.hpp"
#include "scdb/record.hpp"

namespace engine {
namespace {

/// Ring bit addresses; single bits that descend one by one, as multi-bit fields do, become "0x3C/231-200".
std::string describe_addresses(std::span<const macro_word> addresses) {
  std::string text;
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    text += ' ' + describe_ring_address(addresses[i]);
    std::size_t last = i;
    while (scdb::take_apart(addresses[i]).length == 1 && last + 1 < addresses.size()
           && addresses[last + 1] == addresses[last] - 1 && scdb::take_apart(addresses[last]).position != 0)
      ++last;
    if (last > i)
      text += fmt::format("-{}", scdb::take_apart(addresses[last]).position);
    i = last;
  }
  return text;
}

std::string describe_operand(const scdb::Operand &operand) {
  const bool all = operand.value == MACRO_ALL && operand.name.starts_with('t');
  return all ? fmt::format(" {}=all", operand.name) : fmt::format(" {}=0x{:X}", operand.name, operand.value);
}

std::string describe_call(unsigned number, const scdb::Call &call) {
  std::string line = fmt::format("{:6}  {:{}}{}", number, "", 2 * call.depth, scdb::name_of(call.primitive));
  for (const scdb::Operand &operand : call.operands)
    line += describe_operand(operand);
  line += describe_addresses(call.addresses);
  if (call.has_unit)
    line += " on " + describe(call.unit);
  return line;
}

std::string describe_outcome(const scdb::CallResult &result) {
  if (result.outcome.ok())
    return hex(result.value);
  const std::string place = result.outcome.placed ? " at " + scdb::to_string(result.outcome.place) : "";
  return fmt::format("failed: {}{}", scdb::title_of(result.outcome.reason), place);
}

}  // namespace

scdb::Reason Trace::before(const scdb::Call &call) {
  if (call.depth < under_way_.size())
    under_way_[call.depth] = pending_.size();
  pending_.push_back(describe_call(++count_, call));
  returned_.push_back(false);
  return scdb::Reason::none;
}

void Trace::after(const scdb::Call &call, const scdb::CallResult &result) {
  if (call.depth >= under_way_.size() || under_way_[call.depth] >= pending_.size())
    return;
  const std::size_t index = under_way_[call.depth];
  pending_[index] += " -> " + describe_outcome(result);
  returned_[index] = true;
  if (call.depth == 0)
    write_pending();
}

void Trace::write_pending() {
  for (std::size_t i = 0; i < pending_.size(); ++i)
    sink_(pending_[i] + (returned_[i] ? "\n" : " -> did not return\n"));
  pending_.clear();
  returned_.clear();
}

std::string describe_ring_address(macro_word address) {
  const scdb::RingBits bits = scdb::take_apart(address);
  const std::string bit = fmt::format("0x{:02X}/{}", bits.ring, bits.position);
  return bits.length == 1 ? bit : fmt::format("{}+{}", bit, bits.length);
}

}  // namespace engine
