#include "scdb/macros.hpp"
#include "scdb/primitives/perform.hpp"

namespace scdb {
namespace {

constexpr unsigned DEEPEST = 64;
constexpr std::int32_t COULD_NOT_RUN = -1;

/// One nesting level, for the length of a scope.
class Level {
 public:
  Level() { ++context.depth; }
  ~Level() { --context.depth; }
  Level(const Level &) = delete;
  Level &operator=(const Level &) = delete;
};

}  // namespace
}  // namespace scdb

using namespace scdb;

int32_t lmcr_maccall(macro_word unit_type, macro_word unit_no, const macro_word *mring, macro_word rw,
                     macro_word number, const macro_word *para, macro_word *data, macro_word *ret, macro_word *err,
                     macro_word *exp) {
  const Unit unit{unit_type, unit_no, mring};
  const Report to{ret, err, number};
  Call call{};
  const std::array<Operand, 2> list{{{"rw", rw}, {"number", number}}};
  call.primitive = Primitive::maccall;
  call.operands = list;
  call.unit = unit;
  call.has_unit = true;
  call.depth = context.depth;

  std::int32_t value = COULD_NOT_RUN;
  Outcome outcome = Outcome::failure(ask_observers(call));
  bool reported = false;  // by what failed inside the called macro: that record is the better one
  if (outcome.ok()) {
    if (context.depth >= DEEPEST) {
      outcome = Outcome::failure(Reason::too_deep);
    } else if (const Macro *macro = find_macro(number)) {
      const Level level;
      value = macro->entry(unit_type, unit_no, mring, rw, para, data, err, exp);
      if (_RETURN == MACRO_FAILED) {
        outcome = Outcome::failure(Reason::macro_failed);
        reported = true;
      }
    } else if (machine().offers(number)) {
      const Level level;
      const bool failed_before = _RETURN == MACRO_FAILED;
      outcome = machine().nested({number, rw, unit, para, data, err, exp});
      value = outcome.ok() ? 0 : COULD_NOT_RUN;
      // A primitive that failed inside has written the record already.
      reported = !failed_before && _RETURN == MACRO_FAILED;
    } else {
      outcome = Outcome::failure(Reason::no_macro);
    }
  }
  if (!outcome.ok()) {
    if (reported)
      *(ret != nullptr ? ret : &_RETURN) = MACRO_FAILED;
    else
      report(to, Primitive::maccall, outcome);
  }
  tell_observers(call, {outcome, static_cast<macro_word>(value)});
  return value;
}
