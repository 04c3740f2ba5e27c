#include "scdb/primitives/perform.hpp"

namespace scdb {
namespace {

// Results that are no count.
constexpr std::int32_t BAD_BOARDS = -1;
constexpr std::int32_t BAD_TYPE = -2;
constexpr std::int32_t NO_LOCATION = -3;
constexpr std::int32_t REFUSED = -4;

/// Existing chips of the designated ones.
std::int32_t count(const Unit &unit) {
  const std::optional<ChipKind> kind = kind_of(unit.type);
  if (!kind)
    return BAD_TYPE;
  if (unit.number == 0 || unit.number >> BOARDS != 0)
    return BAD_BOARDS;
  if (unit.mring == nullptr)
    return NO_LOCATION;
  const Machine &server = machine();
  std::int32_t chips = 0;
  for (unsigned board = 0; board < BOARDS; ++board) {
    if ((unit.number >> board & 1) == 0)
      continue;
    for (unsigned number = 0; number < info(*kind).limit; ++number)
      if ((unit.mring[board] & chip_bit(*kind, number)) != 0
          && server.has({*kind, static_cast<std::uint8_t>(board), static_cast<std::uint8_t>(number)}))
        ++chips;
  }
  return chips > 1 && !server.can_broadcast() ? 0 : chips;
}

}  // namespace
}  // namespace scdb

using namespace scdb;

// The one primitive without status cell and error record: what it finds is its result, and the macro makes the record.
int32_t lmcr_bcast(macro_word unit_type, macro_word unit_no, const macro_word *mring) {
  const Unit unit{unit_type, unit_no, mring};
  if (context.observers.empty())
    return count(unit);
  Call call{};
  call.primitive = Primitive::bcast;
  call.depth = context.depth;
  call.unit = unit;
  call.has_unit = true;
  const Reason reason = ask_observers(call);
  const std::int32_t result = reason == Reason::none ? count(unit) : REFUSED;
  tell_observers(call, {Outcome::failure(reason), static_cast<macro_word>(result)});
  return result;
}
