#include "scdb/record.hpp"

#include <fmt/format.h>

#include <array>

namespace scdb {
namespace {

/// Word 3 when no single chip is to blame.
constexpr macro_word NO_PLACE = MACRO_ALL;

constexpr std::array<std::string_view, 16> PRIMITIVE_NAMES{
    "",          "lmcr_jtag",    "lmcr_mjtag",  "lmcr_bcast",  "lmcr_scan", "lmcr_sin",
    "lmcr_sout", "lmcr_maccall", "lmcr_i2cctl", "lmcr_mbcreg", "lmcr_egen", "lmcr_echk",
    "lmcr_pgen", "lmcr_pchk",    "lmcr_shift",  "lmcr_wait"};

/// What the code of a primitive's failure is.
constexpr std::string_view code_title(Primitive primitive) {
  switch (primitive) {
    case Primitive::scan:
      return "ring";
    case Primitive::sin:
    case Primitive::sout:
      return "ring bit address";
    case Primitive::maccall:
      return "macro";
    case Primitive::i2cctl:
      return "device";
    case Primitive::mbcreg:
      return "register";
    case Primitive::egen:
    case Primitive::echk:
      return "kind";
    default:
      return "code";
  }
}

struct ReasonTitle {
  Reason reason;
  std::string_view title;
};

constexpr std::array REASON_TITLES{
    ReasonTitle{Reason::none, "no failure"},
    ReasonTitle{Reason::null_pointer, "a pointer that is needed is null"},
    ReasonTitle{Reason::bad_kind, "no such access kind, mode or direction"},
    ReasonTitle{Reason::bad_code, "the code is above 0xFF"},
    ReasonTitle{Reason::bad_count, "the count or length is out of range"},
    ReasonTitle{Reason::bad_ring_address, "the ring bit address reaches beyond the scan buffer"},
    ReasonTitle{Reason::bad_bit_count, "the ring bit addresses name more bits than the mask has"},
    ReasonTitle{Reason::bad_trailer, "the trailing word is not 1"},
    ReasonTitle{Reason::unknown_unit_type, "unknown unit type"},
    ReasonTitle{Reason::bad_board_mask, "the unit number is no mask of boards 0 to 15"},
    ReasonTitle{Reason::bad_triple, "the target triple names what the unit words do not designate"},
    ReasonTitle{Reason::no_chip, "the location words designate no chip"},
    ReasonTitle{Reason::missing_chip, "the machine has no such chip"},
    ReasonTitle{Reason::unsupported, "the machine has no such kind of access"},
    ReasonTitle{Reason::no_register, "the chip has no such register"},
    ReasonTitle{Reason::no_ring, "the chip has no such ring"},
    ReasonTitle{Reason::ring_too_long, "the ring is longer than a scan buffer"},
    ReasonTitle{Reason::ring_not_open, "the ring is closed without having been opened"},
    ReasonTitle{Reason::no_device, "there is no such device"},
    ReasonTitle{Reason::read_only, "it can only be read"},
    ReasonTitle{Reason::write_only, "it can only be written"},
    ReasonTitle{Reason::no_entry, "there is no such entry"},
    ReasonTitle{Reason::dead_chip, "the chip does not answer"},
    ReasonTitle{Reason::no_acknowledge, "no acknowledge"},
    ReasonTitle{Reason::time_out, "time-out"},
    ReasonTitle{Reason::no_macro, "no loaded library and not the machine has a macro of this number"},
    ReasonTitle{Reason::too_deep, "macros are nested too deep"},
    ReasonTitle{Reason::macro_failed, "the macro that was called failed"},
    ReasonTitle{Reason::interrupted, "the run was stopped"},
    ReasonTitle{Reason::injected, "made to fail"},
};

constexpr std::array<std::string_view, 8> CLASS_TITLES{"no failure",     "bad argument", "bad target", "refused",
                                                       "hardware error", "nested macro", "stopped",    "made to fail"};

const ReasonTitle *find(Reason reason) {
  for (const ReasonTitle &row : REASON_TITLES)
    if (row.reason == reason)
      return &row;
  return nullptr;
}

}  // namespace

std::string_view name_of(Primitive primitive) {
  const auto number = static_cast<std::size_t>(primitive);
  return number < PRIMITIVE_NAMES.size() ? PRIMITIVE_NAMES[number] : std::string_view{};
}

macro_word place_word(const Outcome &outcome) {
  if (!outcome.placed)
    return NO_PLACE;
  return unit_type_of(outcome.place.kind) << 24 | macro_word{outcome.place.board} << 16
         | macro_word{outcome.place.number} << 8;
}

void write_failure(macro_word *record, const Failure &failure) {
  if (record == nullptr)
    return;
  record[0] = static_cast<macro_word>(class_of(failure.outcome.reason));
  record[1] = static_cast<macro_word>(failure.primitive);
  record[2] = failure.code;
  record[3] = place_word(failure.outcome);
  record[4] = static_cast<macro_word>(failure.outcome.reason);
}

std::optional<Failure> read_failure(std::span<const macro_word> record) {
  if (record.size() < 5 || record[0] == 0 || record[1] == 0 || record[1] >= PRIMITIVE_NAMES.size() || record[4] > 0xFF)
    return std::nullopt;
  const auto reason = static_cast<Reason>(record[4]);
  if (find(reason) == nullptr || static_cast<macro_word>(class_of(reason)) != record[0])
    return std::nullopt;
  Failure failure{static_cast<Primitive>(record[1]), record[2], Outcome::failure(reason)};
  if (record[3] != NO_PLACE) {
    const std::optional<ChipKind> kind = kind_of(record[3] >> 24);
    if (!kind || (record[3] >> 16 & 0xFF) >= BOARDS)
      return std::nullopt;
    failure.outcome = Outcome::failure(reason, {*kind, static_cast<std::uint8_t>(record[3] >> 16 & 0xFF),
                                                static_cast<std::uint8_t>(record[3] >> 8 & 0xFF)});
  }
  return failure;
}

std::string_view title_of(FailureClass failure_class) {
  const auto number = static_cast<std::size_t>(failure_class);
  return number < CLASS_TITLES.size() ? CLASS_TITLES[number] : "unknown class";
}

std::string_view title_of(Reason reason) {
  const ReasonTitle *row = find(reason);
  return row != nullptr ? row->title : "unknown reason";
}

std::string describe(const Failure &failure) {
  const int digits = failure.code > 0xFFFF ? 8 : failure.code > 0xFF ? 4 : 2;
  std::string text =
      fmt::format("{}, {} 0x{:0{}X}", name_of(failure.primitive), code_title(failure.primitive), failure.code, digits);
  if (failure.outcome.placed)
    text += fmt::format(", {}", to_string(failure.outcome.place));
  return fmt::format("{}: {} ({})", text, title_of(failure.outcome.reason), title_of(class_of(failure.outcome.reason)));
}

}  // namespace scdb
