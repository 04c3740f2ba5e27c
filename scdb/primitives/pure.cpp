#include "scdb/primitives/perform.hpp"

// The status cell belongs to no primitive in particular.
macro_word _RETURN;

namespace {

constexpr macro_word WORD_BITS = 32;

constexpr macro_word shift(macro_word value, macro_word source, macro_word destination, macro_word width) {
  if (source >= WORD_BITS || destination >= WORD_BITS || width == 0)
    return 0;
  const macro_word top = width >= WORD_BITS ? ~macro_word{0} : ~(~macro_word{0} >> width);
  return ((value << source) & top) >> destination;
}

static_assert(shift(39, 26, 6, 6) == 0x02700000);
static_assert(shift(MACRO_ALL, 8, 8, 8) == 0x00FF0000);
static_assert(shift(0xABCDEF12, 24, 24, 8) == 0x12);
static_assert(shift(0x12345678, 0, 0, 32) == 0x12345678);

}  // namespace

using namespace scdb;

macro_word lmcr_shift(macro_word value, macro_word source, macro_word destination, macro_word width) {
  const macro_word moved = shift(value, source, destination, width);
  if (!context.observers.empty()) [[unlikely]] {
    const std::array<Operand, 4> list{
        {{"value", value}, {"source", source}, {"destination", destination}, {"width", width}}};
    Call call{};
    call.primitive = Primitive::shift;
    call.operands = list;
    call.depth = context.depth;
    // A pure function: there is nothing that an observer could hold up.
    static_cast<void>(ask_observers(call));
    tell_observers(call, {Outcome::success(), moved});
  }
  return moved;
}

void lmcr_wait(macro_word units) {
  const std::array<Operand, 1> list{{{"units", units}}};
  Call call{};
  call.primitive = Primitive::wait;
  call.operands = list;
  call.depth = context.depth;
  static_cast<void>(ask_observers(call));
  machine().wait(units);
  tell_observers(call, {});
}
