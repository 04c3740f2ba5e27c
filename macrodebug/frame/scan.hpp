#pragma once

#include <utility>

#include "frame/frame.hpp"

/// Scan rings: ring bit addresses, ring fields as data, and the accessors that take them.
///
/// A ring bit address is a word: position within the ring in bits 0-18, ring code in bits 19-27, run length minus 1 in
/// bits 28-31, bit 0 being the least significant.  A run goes from its position towards higher positions.
namespace frame {

// Never defined: a field that is wrong calls one of these, which a constant expression cannot, and does not compile.
void a_ring_code_has_9_bits_and_a_position_lies_in_the_scan_buffer();
void a_single_bit_has_no_run_length();
void a_run_has_1_to_16_bits();
void a_field_names_as_many_ring_bits_as_its_mask_has();
void a_field_lies_in_the_scan_buffer();
void a_field_lies_in_one_ring();
void a_field_names_each_ring_bit_once();

// The parts of an address, as scdb/access.hpp has them for libscdb.
[[nodiscard]] constexpr macro_word ring_of(macro_word address) {
  return address >> 19 & 0x1FF;
}
[[nodiscard]] constexpr macro_word position_of(macro_word address) {
  return address & 0x7FFFF;
}
[[nodiscard]] constexpr macro_word length_of(macro_word address) {
  return (address >> 28) + 1;
}

inline constexpr macro_word SCANBUFFER_BITS = macro_word{SCANBUFFER_WORDS} * 32;

/// The address of one ring bit.
[[nodiscard]] consteval macro_word ring_bit(macro_word ring, macro_word position) {
  if (ring > 0x1FF || position >= SCANBUFFER_BITS)
    a_ring_code_has_9_bits_and_a_position_lies_in_the_scan_buffer();
  return ring << 19 | position;
}

/// Some ring bit addresses in the order in which they are handed out.
template <unsigned N>
struct Addresses {
  macro_word words[N];
};

/// The bit at this address.
[[nodiscard]] consteval Addresses<1> bit(macro_word address) {
  if (length_of(address) != 1)
    a_single_bit_has_no_run_length();
  return {{address}};
}

/// The run of `length` bits, 1 to 16, from this address up.
[[nodiscard]] consteval Addresses<1> run(macro_word address, unsigned length) {
  if (length_of(address) != 1 || length < 1 || length > 16)
    a_run_has_1_to_16_bits();
  return {{(macro_word{length} - 1) << 28 | address}};
}

/// `N` single bits from `first` down to `first - N + 1`.
template <unsigned N>
[[nodiscard]] consteval Addresses<N> descending(macro_word first) {
  Addresses<N> list{};
  for (unsigned i = 0; i < N; ++i)
    list.words[i] = first - i;
  return list;
}

/// A field of a ring: the bits of a word under `mask`, from the most significant down, and the ring bits they go to.
template <unsigned N>
struct Field {
  macro_word mask;
  macro_word addresses[N];

  /// The same field with `offset` added to all addresses: another port's, or the next group's.
  [[nodiscard]] constexpr Field at(macro_word offset) const {
    Field moved{*this};
    for (macro_word &address : moved.addresses)
      address += offset;
    moved.check();
    return moved;
  }

  /// Does not compile for a field that is none.
  constexpr void check() const {
    macro_word bits = 0;
    for (unsigned i = 0; i < N; ++i) {
      const macro_word position = position_of(addresses[i]);
      const macro_word end = position + length_of(addresses[i]);
      if (end > SCANBUFFER_BITS)
        a_field_lies_in_the_scan_buffer();
      if (ring_of(addresses[i]) != ring_of(addresses[0]))
        a_field_lies_in_one_ring();
      for (unsigned k = 0; k < i; ++k)
        if (position_of(addresses[k]) < end && position < position_of(addresses[k]) + length_of(addresses[k]))
          a_field_names_each_ring_bit_once();
      bits += length_of(addresses[i]);
    }
    for (macro_word left = mask; left != 0; left &= left - 1)
      --bits;
    if (bits != 0)
      a_field_names_as_many_ring_bits_as_its_mask_has();
  }
};

/// Makes a field of its parts: bits of one ring, each named once, as many as the mask has.
template <unsigned... N>
[[nodiscard]] consteval Field<(N + ...)> field(macro_word mask, const Addresses<N> &...parts) {
  Field<(N + ...)> made{mask, {}};
  unsigned count = 0;
  const auto append = [&](const auto &part) {
    for (const macro_word address : part.words)
      made.addresses[count++] = address;
  };
  (append(parts), ...);
  made.check();
  return made;
}

/// Accessors for scan rings, through _SCANBUFFER.
///
/// Those whose name ends in _untested leave the status cell to a later test, which some families have on purpose.
struct ScanFrame : Frame {
  void scan_untested(macro_word mode, macro_word ring) const {
    lmcr_scan(mode, MACRO_ALL, MACRO_ALL, MACRO_ALL, ring, _SCANBUFFER, ONE, &_RETURN, _ERR, _UNIT_TYPE, _UNIT_NO,
              _MRING);
  }

  /// Copies a ring into the buffer and keeps its contents for close_ring.
  [[nodiscard]] bool open_ring(macro_word ring) const {
    scan_untested(SCAN_OPEN, ring);
    return running();
  }

  /// Copies a ring into the buffer.
  [[nodiscard]] bool read_ring(macro_word ring) const {
    scan_untested(SCAN_READ, ring);
    return running();
  }

  /// Copies the buffer into a ring.
  [[nodiscard]] bool write_ring(macro_word ring) const {
    scan_untested(SCAN_WRITE, ring);
    return running();
  }

  /// Puts the kept contents of a ring back.
  [[nodiscard]] bool close_ring(macro_word ring) const {
    scan_untested(SCAN_CLOSE, ring);
    return running();
  }

  /// Sets a field in the buffer.
  template <unsigned N>
  [[nodiscard]] bool insert(const Field<N> &into, macro_word value) const {
    insert_untested(into, value);
    return running();
  }

  template <unsigned N>
  [[gnu::always_inline]] void insert_untested(const Field<N> &into, macro_word value) const {
    [&]<std::size_t... I>(std::index_sequence<I...>) {
      lmcr_sin(_SCANBUFFER, _ERR, &_RETURN, value, into.mask, into.addresses[I]...);
    }
    (std::make_index_sequence<N>());
  }

  /// Takes a field out of the buffer.
  template <unsigned N>
  [[nodiscard]] bool extract(const Field<N> &from, macro_word &into) const {
    const macro_word value = extract_untested(from);
    if (!running())
      return false;
    into = value;
    return true;
  }

  template <unsigned N>
  [[gnu::always_inline]] [[nodiscard]] macro_word extract_untested(const Field<N> &from) const {
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
      return lmcr_sout(_SCANBUFFER, _ERR, &_RETURN, from.mask, from.addresses[I]...);
    }
    (std::make_index_sequence<N>());
  }
};

}  // namespace frame
