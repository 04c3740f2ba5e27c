#pragma once

#include <bit>
#include <span>
#include <vector>

#include "libscfjtag.h"
#include "scdb/failure.hpp"

namespace support {

/// A field of a ring, as the mask and the addresses of lmcr_sin and lmcr_sout name it: a model that goes bit by bit.
class RingField {
 public:
  /// @param addresses  as many as the mask needs; there may be more.
  RingField(macro_word mask, std::span<const macro_word> addresses) : mask_{mask} {
    const auto wanted = static_cast<std::size_t>(std::popcount(mask));
    for (auto address = addresses.begin(); reason_ == scdb::Reason::none && positions_.size() < wanted; ++address) {
      const unsigned first = *address & 0x7FFFF;
      const unsigned length = (*address >> 28) + 1;
      if (length > wanted - positions_.size())
        refuse(scdb::Reason::bad_bit_count, *address);
      else if (first + length > SCANBUFFER_WORDS * 32)
        refuse(scdb::Reason::bad_ring_address, *address);
      else
        for (unsigned bit = 0; bit < length; ++bit)
          positions_.push_back(first + bit);
    }
  }

  /// What is wrong with the field, none where nothing is, and the address that is.
  [[nodiscard]] scdb::Reason reason() const { return reason_; }
  [[nodiscard]] macro_word offender() const { return offender_; }

  /// What insertion does to a scan buffer.  A field that is wrong has no bits.
  void put(std::span<macro_word> buffer, macro_word value) const {
    each_bit([&](macro_word bit, unsigned position) {
      macro_word &word = buffer[position / 32];
      const macro_word place = 0x80000000 >> position % 32;
      word = (value & bit) != 0 ? word | place : word & ~place;
    });
  }

  /// What extraction gives.
  [[nodiscard]] macro_word get(std::span<const macro_word> buffer) const {
    macro_word value = 0;
    each_bit([&](macro_word bit, unsigned position) {
      if ((buffer[position / 32] << position % 32 & 0x80000000) != 0)
        value |= bit;
    });
    return value;
  }

 private:
  void refuse(scdb::Reason reason, macro_word address) {
    reason_ = reason;
    offender_ = address;
    positions_.clear();
  }

  /// The mask's bits from the most significant down, each with the ring bit that belongs to it.
  template <class Use>
  void each_bit(Use use) const {
    auto position = positions_.begin();
    for (macro_word bit = 0x80000000; bit != 0 && position != positions_.end(); bit >>= 1)
      if ((mask_ & bit) != 0)
        use(bit, *position++);
  }

  macro_word mask_;
  std::vector<unsigned> positions_;
  scdb::Reason reason_ = scdb::Reason::none;
  macro_word offender_ = 0;
};

}  // namespace support
