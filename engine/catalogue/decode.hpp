#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/catalogue/catalogue.hpp"
#include "engine/catalogue/fields.hpp"

namespace engine {

/// Words of _DATA; nothing where a word was not written.
using DataWords = std::vector<std::optional<macro_word>>;

/// A field of a record; nothing when not all of its words were written.
struct DecodedField {
  const DataField *field = nullptr;
  std::optional<std::uint64_t> value;
};

struct DecodedRecord {
  std::string name;       ///< "register 16"
  std::size_t start = 0;  ///< index of its first word
  DataWords words;
  std::vector<DecodedField> fields;
};

struct DecodedBlock {
  const DataBlock *block = nullptr;
  std::vector<DecodedRecord> records;
};

/// The results that the entry lays out in _DATA, those without any word that was written left out.
[[nodiscard]] std::vector<DecodedBlock> decode(const Arguments &arguments, const DataWords &data);

/// What the run found, a sentence each.
[[nodiscard]] std::vector<std::string> findings_of(const Arguments &arguments, const DataWords &data);

/// A value as the field's kind, names and flags show it.
[[nodiscard]] std::string text_of(const DataField &field, std::uint64_t value);

/// Which bits a syndrome says are wrong: "clean", "data bit 17 wrong", "check bit 3 wrong", "several bits wrong".
[[nodiscard]] std::string text_of_syndrome(SyndromeCode name, std::uint64_t syndrome);

}  // namespace engine
