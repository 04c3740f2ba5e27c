#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/catalogue/arguments.hpp"

namespace engine {

/// Words of _DATA; nothing where a word was not written.
using DataWords = std::vector<std::optional<macro_word>>;
using DataView = std::span<const std::optional<macro_word>>;

class DecodedBlock;

/// A record of a block, at least one word of which was written.
class DecodedRecord {
 public:
  /// "register 16"; the block's own name where it has this record alone.
  [[nodiscard]] std::string name() const;
  /// Index of its first word in _DATA.
  [[nodiscard]] std::size_t start() const;
  /// Number of its words.
  [[nodiscard]] std::size_t size() const;
  /// @param index  below size().
  [[nodiscard]] std::optional<macro_word> word(std::size_t index) const;
  /// The value of one of the block's fields; nothing when not all of its words were written.
  [[nodiscard]] std::optional<std::uint64_t> value(const DataField &field) const;

 private:
  friend class DecodedBlock;
  DecodedRecord(const DecodedBlock &block, std::size_t index) : block_{block}, index_{index} {}

  const DecodedBlock &block_;
  std::size_t index_;  ///< among all records of the block
};

/// The records that an entry lays out in _DATA under one name, those of which no word was written left out.  Entry and
/// words must outlive it: names and values are looked up when they are asked for, for a dump has many.
class DecodedBlock {
 public:
  DecodedBlock(const DataBlock &block, const Arguments &arguments, DataView data);

  [[nodiscard]] const DataBlock &layout() const { return *layout_; }
  /// Number of records of which a word was written.
  [[nodiscard]] std::size_t size() const { return written_.size(); }
  [[nodiscard]] bool empty() const { return written_.empty(); }
  [[nodiscard]] DecodedRecord operator[](std::size_t index) const { return {*this, written_[index]}; }
  /// Whether the layout has one record, which bears the block's own name.
  [[nodiscard]] bool is_single() const { return single_; }

 private:
  friend class DecodedRecord;

  const DataBlock *layout_;
  DataView data_;
  std::size_t start_ = 0;   ///< first word of the first record
  std::size_t record_ = 0;  ///< words of a record
  std::int64_t first_ = 0;  ///< number of the first record
  std::int64_t modulo_ = INT64_MAX;
  bool single_ = false;
  std::vector<std::uint32_t> written_;  ///< indices of records, in ascending order
};

/// The results that the entry lays out in _DATA, those without any word that was written left out.
[[nodiscard]] std::vector<DecodedBlock> decode(const Arguments &arguments, DataView data);

/// What the run found, a sentence each.
/// @param blocks  what decode() gave for the same arguments and words.
[[nodiscard]] std::vector<std::string> findings_of(const Arguments &arguments, DataView data,
                                                   std::span<const DecodedBlock> blocks);

/// A value as the field's kind, names and flags show it.
[[nodiscard]] std::string field_text(const DataField &field, std::uint64_t value);

/// Which bits a syndrome says are wrong: "clean", "data bit 17 wrong", "check bit 3 wrong", "several bits wrong".
[[nodiscard]] std::string text_of_syndrome(SyndromeCode name, std::uint64_t syndrome);

}  // namespace engine
