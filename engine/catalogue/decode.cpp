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

std::string name_of_record(const DataBlock &block, std::size_t index, std::size_t count, std::int64_t number) {
  if (index < block.labels.size())
    return block.labels[index];
  return count == 1 && block.count.text() == "1" ? block.name : fmt::format("{} {}", block.name, number);
}

std::optional<std::uint64_t> value_of(const DataField &field, const DataWords &record) {
  std::uint64_t value = 0;
  for (const DataField::Part &part : field.parts) {
    if (part.word >= record.size() || !record[part.word])
      return std::nullopt;
    value = value << part.bits.width() | part.bits.get(*record[part.word]);
  }
  return value;
}

std::optional<macro_word> word_at(const DataWords &data, std::size_t index) {
  return index < data.size() ? data[index] : std::nullopt;
}

DecodedBlock decode_block(const DataBlock &block, const Arguments &arguments, const DataWords &data) {
  const std::size_t start = arguments.size(block.start);
  const std::size_t size = arguments.size(block.size);
  const std::size_t count = arguments.size(block.count);
  const std::int64_t first = arguments.value(block.number);
  const std::int64_t modulo = block.modulo ? std::max<std::int64_t>(arguments.value(*block.modulo), 1) : INT64_MAX;
  DecodedBlock decoded{&block, {}};
  for (std::size_t i = 0; i < count && start + i * size < data.size(); ++i) {
    DecodedRecord record;
    record.start = start + i * size;
    for (std::size_t word = 0; word < size; ++word)
      record.words.push_back(word_at(data, record.start + word));
    if (std::ranges::none_of(record.words, [](const auto &word) { return word.has_value(); }))
      continue;
    record.name = name_of_record(block, i, count, (first + static_cast<std::int64_t>(i)) % modulo);
    for (const DataField &field : block.fields)
      record.fields.push_back({&field, value_of(field, record.words)});
    decoded.records.push_back(std::move(record));
  }
  return decoded;
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

void add_findings_in_fields(const FindingRule &rule, const FindingField &place, const std::vector<DecodedBlock> &blocks,
                            std::vector<std::string> &findings) {
  for (const DecodedBlock &block : blocks) {
    if (block.block->name != place.data)
      continue;
    for (const DecodedRecord &record : block.records) {
      if (place.field.empty() && found(rule, record.words.front()))
        findings.push_back(fmt::format("{}: {} is {}", rule.title, record.name, hex(*record.words.front())));
      for (const DecodedField &field : record.fields)
        if (field.field->name == place.field && found(rule, field.value))
          findings.push_back(record.name == field.field->name
                                 ? fmt::format("{}: {}", rule.title, text_of(*field.field, *field.value))
                                 : fmt::format("{}: {}, {} {}", rule.title, record.name, field.field->name,
                                               text_of(*field.field, *field.value)));
    }
  }
}

}  // namespace

std::vector<DecodedBlock> decode(const Arguments &arguments, const DataWords &data) {
  std::vector<DecodedBlock> blocks;
  for (const DataBlock &block : arguments.entry().data) {
    if (block.input || !arguments.applies(block))
      continue;
    DecodedBlock decoded = decode_block(block, arguments, data);
    if (!decoded.records.empty())
      blocks.push_back(std::move(decoded));
  }
  return blocks;
}

std::vector<std::string> findings_of(const Arguments &arguments, const DataWords &data) {
  std::vector<std::string> findings;
  std::vector<DecodedBlock> blocks;
  for (const FindingRule &rule : arguments.entry().findings) {
    if (!arguments.applies(rule))
      continue;
    if (const auto *const word = std::get_if<FindingWord>(&rule.place)) {
      const std::optional<macro_word> value = word_at(data, word->index);
      if (value && found(rule, *value & word->mask))
        findings.push_back(fmt::format("{}: _DATA[{}] is {}", rule.title, word->index, hex(*value)));
      continue;
    }
    if (blocks.empty())
      blocks = decode(arguments, data);
    add_findings_in_fields(rule, std::get<FindingField>(rule.place), blocks, findings);
  }
  return findings;
}

std::string text_of(const DataField &field, std::uint64_t value) {
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
