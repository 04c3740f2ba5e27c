#pragma once

#include "frame/frame.hpp"

/// The error-correcting codes of the CPU's memory arrays, and the macros that compute check bits and syndromes.
///
/// An entry lies in up to three words.  The check bits that were read are in front of one of them, from bit 0 on, bit 0
/// being the most significant; data bits are numbered from 0 as well.
namespace cpu {

/// Where the bits of a code stand in an entry's words and in a result word.
struct CodeFormat {
  macro_word check_bits;    ///< how many there are
  unsigned check_word;      ///< the entry's word that holds them
  macro_word data_beside;   ///< data bits in that same word
  macro_word generated_at;  ///< first generated check bit in the result word
  macro_word syndrome_at;   ///< first syndrome bit in the result word
};

/// 64 data and 8 check bits, the check bits in front: data bits 0-15 in word 0, 16-47 in word 1, 48-63 in word 2.
inline constexpr CodeFormat FRONT_FORMAT{8, 0, 0x0000FFFF, 0, 24};
/// 11 data and 6 check bits in one word, the data in bits 16-26.
inline constexpr CodeFormat SHORT_FORMAT{6, 0, 0x0000FFE0, 16, 0};
/// 64 data and 8 check bits, the check bits behind: data in words 0 and 1.
inline constexpr CodeFormat BEHIND_FORMAT{8, 2, 0, 16, 0};

/// Masks over the 64 data bits, two words for each check bit.  The last four are the first four with their halves
/// exchanged.  engine/catalogue/decode.cpp has them too, and SHORT_MASKS, to name a wrong bit: the one checks the
/// other.
inline constexpr macro_word WIDE_MASKS[] = {
    0x94948848, 0x55BB7B6C, 0x49494494, 0xBB557B8C, 0x61612212, 0x55EEDE93, 0x16161161, 0xEE55DE23,
    0x55BB7B6C, 0x94948848, 0xBB557B8C, 0x49494494, 0x55EEDE93, 0x61612212, 0xEE55DE23, 0x16161161,
};

/// Masks over the 11 data bits.
inline constexpr macro_word SHORT_MASKS[] = {0xCD000000, 0x63E00000, 0x1E600000, 0x8B800000, 0xF0C00000, 0x34200000};

// A code: its format, its masks, the parity sense of each check bit, and how an entry's words are taken apart.

struct FrontCode {
  static constexpr CodeFormat FORMAT = FRONT_FORMAT;
  static constexpr macro_word DATA_WORDS = 2;
  static constexpr const auto &_ECC = WIDE_MASKS;
  static constexpr macro_word SENSES[] = {0, 0, 1, 1, 1, 1, 0, 0};

  static void take_apart(const macro_word *entry, macro_word (&read)[3]) {
    read[0] = lmcr_shift(entry[0], 16, 0, 16) | lmcr_shift(entry[1], 0, 16, 16);
    read[1] = lmcr_shift(entry[1], 16, 0, 16) | lmcr_shift(entry[2], 0, 16, 16);
    read[2] = lmcr_shift(entry[0], 0, 0, 8);
  }
};

struct ShortCode {
  static constexpr CodeFormat FORMAT = SHORT_FORMAT;
  static constexpr macro_word DATA_WORDS = 1;
  static constexpr const auto &_ECC = SHORT_MASKS;
  static constexpr macro_word SENSES[] = {0, 1, 0, 1, 0, 1};

  static void take_apart(const macro_word *entry, macro_word (&read)[2]) {
    read[0] = lmcr_shift(entry[0], 16, 0, 11);
    read[1] = lmcr_shift(entry[0], 0, 0, 6);
  }
};

struct BehindCode {
  static constexpr CodeFormat FORMAT = BEHIND_FORMAT;
  static constexpr macro_word DATA_WORDS = 2;
  static constexpr const auto &_ECC = WIDE_MASKS;
  static constexpr macro_word SENSES[] = {0, 0, 0, 0, 0, 0, 0, 0};

  static void take_apart(const macro_word *entry, macro_word (&read)[3]) {
    read[0] = entry[0];
    read[1] = entry[1];
    read[2] = entry[2];
  }
};

/// Puts the generated check bits and the syndrome of the entry in _PARA into _DATA[0].
///
/// A pure function for its callers: the primitives' status is not looked at, and a failure of theirs is cleared.
template <class Code>
struct Syndrome : frame::Frame {
  static constexpr CodeFormat FORMAT = Code::FORMAT;
  /// The bit that stands for a check bit in the primitive's result.
  static constexpr macro_word _SYNMASK[] = {
      0x80000000, 0x40000000, 0x20000000, 0x10000000, 0x08000000, 0x04000000, 0x02000000, 0x01000000,
  };

  int run() {
    macro_word _RDDATA[Code::DATA_WORDS + 1];  // data words, then the check bits that were read
    Code::take_apart(_PARA, _RDDATA);

    macro_word result = 0;
    for (macro_word i = 0; i < FORMAT.check_bits; ++i) {
      _WORK7 = _SYNMASK[i];
      lmcr_egen(Code::DATA_WORDS, _RDDATA, &Code::_ECC[i * Code::DATA_WORDS], &_WORK8, &_WORK7, Code::SENSES[i],
                &_RETURN);
      result |= lmcr_shift(_WORK8, i, FORMAT.generated_at + i, 1);
      _WORK8 = lmcr_shift(_RDDATA[Code::DATA_WORDS], i, i, 1) ^ _WORK8;
      result |= lmcr_shift(_WORK8, i, FORMAT.syndrome_at + i, 1);
    }
    _DATA[0] = result;
    _RETURN = 0;
    return frame::DONE;
  }
};

}  // namespace cpu
