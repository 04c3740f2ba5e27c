#include "engine/catalogue/decode.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <span>

#include "engine/text/words.hpp"
#include "engine/unit/chips.hpp"

namespace engine {
namespace {

/// For each check bit the data bits that it covers, data bit 0 the most significant.  macrodebug/cpu/ecc.hpp has the
/// same for the macros that compute them: what those find and what is said of it here check each other.
constexpr std::array<std::uint64_t, 8> WIDE_MASKS{
    0x9494884855BB7B6C, 0x49494494BB557B8C, 0x6161221255EEDE93, 0x16161161EE55DE23,
    0x55BB7B6C94948848, 0xBB557B8C49494494, 0x55EEDE9361612212, 0xEE55DE2316161161,
};
constexpr std::array<std::uint64_t, 6> SHORT_MASKS{
    0xCD00000000000000, 0x63E0000000000000, 0x1E60000000000000,
    0x8B80000000000000, 0xF0C0000000000000, 0x3420000000000000,
};
struct Code {
  std::span<const std::uint64_t> masks;
  unsigned data_bits;
};

Code code_of(SyndromeCode code) {
  return code == SyndromeCode::tag ? Code{SHORT_MASKS, 11} : Code{WIDE_MASKS, 64};
}

/// The syndrome of an entry with one data bit wrong; check bit 0 is its most significant bit.
std::uint64_t syndrome_of_data_bit(const Code &code, unsigned bit) {
  std::uint64_t syndrome = 0;
  for (const std::uint64_t mask : code.masks)
    syndrome = syndrome << 1 | (mask >> (63 - bit) & 1);
  return syndrome;
}

std::optional<macro_word> word_at(DataView data, std::size_t index) {
  return index < data.size() ? data[index] : std::nullopt;
}

std::string text_of_flags(const std::vector<Flag> &flags, std::uint64_t value) {
  std::string set;
  for (const Flag &flag : flags)
    if ((value >> flag.bit & 1) != 0)
      set += fmt::format("{}{}", set.empty() ? "" : "+", flag.name);
  return set.empty() ? "none" : set;
}

std::string plural_list(std::string_view what, macro_word mask) {
  if (mask == 0)
    return "none";
  return fmt::format("{}{} {}", what, std::has_single_bit(mask) ? "" : "s", list_of_bits(mask));
}

std::string text_of_location(macro_word location) {
  const std::string chips = describe_chips(location);
  return chips.empty() ? hex(location) : chips;
}

std::int64_t with_sign(std::uint64_t value, unsigned width) {
  return static_cast<std::int64_t>(value << (64 - width)) >> (64 - width);
}

bool found(const FindingRule &rule, std::optional<std::uint64_t> value) {
  return value && (rule.equals ? *value == *rule.equals : *value != 0);
}

void add_findings_in_fields(const FindingRule &rule, const FindingField &place, std::span<const DecodedBlock> blocks,
                            std::vector<std::string> &findings) {
  for (const DecodedBlock &block : blocks) {
    if (block.layout().name != place.data)
      continue;
    const auto field = std::ranges::find(block.layout().fields, place.field, &DataField::name);
    for (std::size_t i = 0; i < block.size(); ++i) {
      const DecodedRecord record = block[i];
      if (place.field.empty()) {
        if (const std::optional<macro_word> word = record.word(0); found(rule, word))
          findings.push_back(fmt::format("{}: {} is {}", rule.title, record.name(), hex(*word)));
      } else if (field != block.layout().fields.end()) {
        const std::optional<std::uint64_t> value = record.value(*field);
        if (!found(rule, value))
          continue;
        const std::string name = record.name();
        const std::string text = field_text(*field, *value);
        findings.push_back(name == field->name ? fmt::format("{}: {}", rule.title, text)
                                               : fmt::format("{}: {}, {} {}", rule.title, name, field->name, text));
      }
    }
  }
}

}  // namespace

std::string DecodedRecord::name() const {
  const DataBlock &layout = *block_.layout_;
  if (index_ < layout.labels.size())
    return layout.labels[index_];
  if (block_.single_)
    return layout.name;
  return fmt::format("{} {}", layout.name, (block_.first_ + static_cast<std::int64_t>(index_)) % block_.modulo_);
}

std::size_t DecodedRecord::start() const {
  return block_.start_ + index_ * block_.record_;
}

std::size_t DecodedRecord::size() const {
  return block_.record_;
}

std::optional<macro_word> DecodedRecord::word(std::size_t index) const {
  return word_at(block_.data_, start() + index);
}

std::optional<std::uint64_t> DecodedRecord::value(const DataField &field) const {
  std::uint64_t value = 0;
  for (const DataField::Piece &piece : field.pieces) {
    const std::optional<macro_word> own = piece.word < size() ? word(piece.word) : std::nullopt;
    if (!own)
      return std::nullopt;
    value = value << piece.bits.width() | piece.bits.get(*own);
  }
  return value;
}

DecodedBlock::DecodedBlock(const DataBlock &block, const Arguments &arguments, DataView data)
    : layout_{&block},
      data_{data},
      start_{arguments.size(block.start)},
      record_{arguments.size(block.size)},
      first_{arguments.value(block.number)} {
  if (block.modulo)
    modulo_ = std::max<std::int64_t>(arguments.value(*block.modulo), 1);
  const std::size_t count = arguments.size(block.count);
  single_ = count == 1 && block.count.text() == "1" && block.labels.empty();
  if (record_ == 0 || start_ >= data.size())
    return;
  const std::size_t within = std::min(count, (data.size() - start_ + record_ - 1) / record_);
  written_.reserve(within);
  for (std::size_t i = 0; i < within; ++i) {
    const DataView words = data.subspan(start_ + i * record_, std::min(record_, data.size() - start_ - i * record_));
    if (std::ranges::any_of(words, [](const std::optional<macro_word> &word) { return word.has_value(); }))
      written_.push_back(static_cast<std::uint32_t>(i));
  }
}

std::vector<DecodedBlock> decode(const Arguments &arguments, DataView data) {
  std::vector<DecodedBlock> blocks;
  for (const DataBlock &block : arguments.entry().data) {
    if (block.input || !arguments.applies(block))
      continue;
    if (DecodedBlock decoded{block, arguments, data}; !decoded.empty())
      blocks.push_back(std::move(decoded));
  }
  return blocks;
}

std::vector<std::string> findings_of(const Arguments &arguments, DataView data, std::span<const DecodedBlock> blocks) {
  std::vector<std::string> findings;
  for (const FindingRule &rule : arguments.entry().findings) {
    if (!arguments.applies(rule))
      continue;
    const auto *const place = std::get_if<FindingWord>(&rule.place);
    if (place == nullptr) {
      add_findings_in_fields(rule, std::get<FindingField>(rule.place), blocks, findings);
      continue;
    }
    const std::optional<macro_word> value = word_at(data, place->index);
    if (value && found(rule, *value & place->mask))
      findings.push_back(fmt::format("{}: _DATA[{}] is {}", rule.title, place->index, hex(*value)));
  }
  return findings;
}

std::string field_text(const DataField &field, std::uint64_t value) {
  for (const NamedValue &row : field.values)
    if (row.value == value)
      return row.title.empty() ? row.name : row.name.empty() ? row.title : fmt::format("{} ({})", row.name, row.title);
  if (!field.flags.empty())
    return text_of_flags(field.flags, value);
  switch (field.kind) {
    case FieldKind::number:
      return std::to_string(value);
    case FieldKind::signed_number:
      return std::to_string(with_sign(value, field.width()));
    case FieldKind::flag:
      return value != 0 ? "yes" : "no";
    case FieldKind::boards:
      return plural_list("board", static_cast<macro_word>(value));
    case FieldKind::chips:
      return value == 0 ? "none" : text_of_location(static_cast<macro_word>(value));
    case FieldKind::syndrome:
      return text_of_syndrome(field.code, value);
    case FieldKind::hex:
      break;
  }
  return fmt::format("0x{:0{}X}", value, (field.width() + 3) / 4);
}

std::string text_of_syndrome(SyndromeCode name, std::uint64_t syndrome) {
  const Code code = code_of(name);
  if (syndrome == 0)
    return "clean";
  const auto check_bits = static_cast<unsigned>(code.masks.size());
  if (std::has_single_bit(syndrome) && syndrome >> check_bits == 0)
    return fmt::format("check bit {} wrong", check_bits - 1 - static_cast<unsigned>(std::countr_zero(syndrome)));
  for (unsigned bit = 0; bit < code.data_bits; ++bit)
    if (syndrome_of_data_bit(code, bit) == syndrome)
      return fmt::format("data bit {} wrong", bit);
  return "several bits wrong";
}

}  // namespace engine
