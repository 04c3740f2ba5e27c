#include <bit>

#include "scdb/primitives/perform.hpp"

namespace scdb {
namespace {

constexpr macro_word MOST_DATA_WORDS = 2;

constexpr macro_word parity(macro_word word) {
  return static_cast<macro_word>(std::popcount(word)) & 1;
}

/// The check bit of data words under masks, as 0 or 1.
macro_word check_bit(macro_word kind, const macro_word *data, const macro_word *masks, macro_word sense) {
  macro_word sum = sense & 1;
  for (macro_word i = 0; i < kind; ++i)
    sum ^= parity(data[i] & masks[i]);
  return sum;
}

/// lmcr_egen, and with `checks` lmcr_echk: what was read in *result is XORed in.
macro_word check_bits(Primitive primitive, bool checks, macro_word kind, const macro_word *data,
                      const macro_word *masks, macro_word *result, const macro_word *result_mask, macro_word sense,
                      macro_word *ret) {
  return perform(
             primitive, {ret, nullptr, kind},
             [&] {
               return operands<2>({{{"kind", kind}, {"sense", sense}}});
             },
             [&](macro_word &value) {
               if (kind < 1 || kind > MOST_DATA_WORDS || sense > 1)
                 return Outcome::failure(Reason::bad_kind);
               if (data == nullptr || masks == nullptr || result == nullptr || result_mask == nullptr)
                 return Outcome::failure(Reason::null_pointer);
               const macro_word bit = check_bit(kind, data, masks, sense);
               value = bit != 0 ? *result_mask : 0;
               if (checks)
                 value ^= *result & *result_mask;
               *result = value;
               return Outcome::success();
             })
      .value;
}

/// lmcr_pgen, and with `checks` lmcr_pchk.
macro_word parity_bit(Primitive primitive, bool checks, macro_word word, macro_word *result, macro_word sense,
                      macro_word *ret) {
  return perform(
             primitive, {ret, nullptr, word},
             [&] {
               return operands<2>({{{"word", word}, {"sense", sense}}});
             },
             [&](macro_word &value) {
               if (sense > 1)
                 return Outcome::failure(Reason::bad_kind);
               if (result == nullptr)
                 return Outcome::failure(Reason::null_pointer);
               value = parity(word) ^ sense;
               if (checks)
                 value ^= *result & 1;
               *result = value;
               return Outcome::success();
             })
      .value;
}

}  // namespace
}  // namespace scdb

using namespace scdb;

macro_word lmcr_pgen(macro_word word, macro_word *result, macro_word sense, macro_word *ret) {
  return parity_bit(Primitive::pgen, false, word, result, sense, ret);
}

macro_word lmcr_pchk(macro_word word, macro_word *result, macro_word sense, macro_word *ret) {
  return parity_bit(Primitive::pchk, true, word, result, sense, ret);
}

macro_word lmcr_egen(macro_word kind, const macro_word *data, const macro_word *masks, macro_word *result,
                     const macro_word *result_mask, macro_word sense, macro_word *ret) {
  return check_bits(Primitive::egen, false, kind, data, masks, result, result_mask, sense, ret);
}

macro_word lmcr_echk(macro_word kind, const macro_word *data, const macro_word *masks, macro_word *result,
                     const macro_word *result_mask, macro_word sense, macro_word *ret) {
  return check_bits(Primitive::echk, true, kind, data, masks, result, result_mask, sense, ret);
}
