#include "scdb/primitives/perform.hpp"

namespace scdb {
namespace {

constexpr bool is_direction(macro_word direction) {
  return direction == static_cast<macro_word>(Direction::read)
         || direction == static_cast<macro_word>(Direction::write);
}

Outcome i2c(macro_word direction, const Triple &boards, macro_word port, macro_word device, macro_word *buffer,
            macro_word length, macro_word mode, const Unit &unit) {
  if (!is_direction(direction) || (mode != I2C_REGISTER && mode != I2C_COMMAND))
    return Outcome::failure(Reason::bad_kind);
  if (device > LAST_CODE)
    return Outcome::failure(Reason::bad_code);
  if (length < 1 || length > I2C_MOST_BYTES)
    return Outcome::failure(Reason::bad_count);
  if (buffer == nullptr)
    return Outcome::failure(Reason::null_pointer);
  Machine &server = machine();
  ChipList chips;
  if (const Outcome outcome = resolve(server, unit, boards, chips); !outcome.ok())
    return outcome;
  const std::span<macro_word> words{buffer, (length + 3) / 4};
  touch(words, direction == static_cast<macro_word>(Direction::read));
  return server.i2c(chips.span(), static_cast<Direction>(direction), port, device, mode, words, length);
}

/// Registers follow one another at a distance of their length.
Outcome mbc(macro_word direction, const Triple &boards, bool first_only, macro_word bank, macro_word address,
            macro_word length, macro_word *data, macro_word count, const Unit &unit) {
  if (!is_direction(direction))
    return Outcome::failure(Reason::bad_kind);
  if (!is_mbc_length(length) || count < 1 || count > MBC_MOST_REGISTERS)
    return Outcome::failure(Reason::bad_count);
  if (data == nullptr)
    return Outcome::failure(Reason::null_pointer);
  Machine &server = machine();
  ChipList chips;
  if (const Outcome outcome = resolve(server, unit, boards, chips); !outcome.ok())
    return outcome;
  touch({data, count}, direction == static_cast<macro_word>(Direction::read));
  const std::span<const Chip> addressed = first_only ? chips.span().first(1) : chips.span();
  for (macro_word i = 0; i < count; ++i)
    if (const Outcome outcome =
            server.mbc(addressed, static_cast<Direction>(direction), bank, address + i * length, length, data[i]);
        !outcome.ok())
      return outcome;
  return Outcome::success();
}

}  // namespace
}  // namespace scdb

using namespace scdb;

macro_word lmcr_i2cctl(macro_word direction, macro_word t0, macro_word t1, macro_word t2, macro_word device,
                       macro_word *buffer, macro_word length, macro_word mode, macro_word *ret, macro_word *err,
                       macro_word unit_type, macro_word unit_no, const macro_word *mring) {
  const Unit unit{unit_type, unit_no, mring};
  const bool writes = direction == static_cast<macro_word>(Direction::write) && buffer != nullptr;
  const CallResult result = perform(
      Primitive::i2cctl, {ret, err, device},
      [&] {
        return operands<8>({{{"direction", direction},
                             {"t0", t0},
                             {"t1", t1},
                             {"port", t2},
                             {"device", device},
                             {"data", writes ? *buffer : 0},
                             {"length", length},
                             {"mode", mode}}},
                           &unit);
      },
      // The last word of the triple is no chip mask here but the port; all designated chips are addressed.
      [&](macro_word & /*value*/) {
        return i2c(direction, {t0, t1, MACRO_ALL}, t2, device, buffer, length, mode, unit);
      });
  return result.value;
}

macro_word lmcr_mbcreg(macro_word direction, macro_word a, macro_word b, macro_word c, macro_word address,
                       macro_word length, macro_word *data, macro_word count, macro_word *ret, macro_word *err,
                       macro_word unit_type, macro_word unit_no, const macro_word *mring) {
  const Unit unit{unit_type, unit_no, mring};
  const bool writes = direction == static_cast<macro_word>(Direction::write) && data != nullptr;
  const CallResult result = perform(
      Primitive::mbcreg, {ret, err, address},
      [&] {
        return operands<8>({{{"direction", direction},
                             {"a", a},
                             {"b", b},
                             {"bank", c},
                             {"address", address},
                             {"length", length},
                             {"data", writes ? *data : 0},
                             {"count", count}}},
                           &unit);
      },
      // A first word of 0 picks the first of the designated controllers.
      [&](macro_word & /*value*/) {
        return mbc(direction, {a == 0 ? MACRO_ALL : a, b, MACRO_ALL}, a == 0, c, address, length, data, count, unit);
      });
  return result.value;
}
