#include <gtest/gtest.h>

#include <bit>

#include "support/support.hpp"

// The macros that generate check bits and syndromes.

namespace {

using support::RunResult;

const support::UnitWords CPU = support::one_chip(scdb::ChipKind::cpu);

/// The check bits that each data bit takes part in, check bit 0 the most significant.  Of the 64-bit code's columns the
/// second half is the first with its halves exchanged.
constexpr macro_word WIDE[] = {
    0x85, 0x6B, 0x25, 0x9E, 0x45, 0x9B, 0x15, 0x6E, 0x8A, 0x67, 0x2A, 0x9D, 0x4A, 0x97, 0x1A, 0x6D,
    0x83, 0x4F, 0x2C, 0x1F, 0x8F, 0x43, 0x2F, 0x1C, 0x46, 0x98, 0x19, 0x62, 0x8C, 0x4C, 0x23, 0x13,
};
constexpr macro_word SHORT[] = {0x26, 0x32, 0x13, 0x0B, 0x2C, 0x29, 0x1C, 0x34, 0x16, 0x1A, 0x19};

constexpr macro_word wide_column(unsigned bit) {
  return bit < 32 ? WIDE[bit] : (WIDE[bit - 32] << 4 | WIDE[bit - 32] >> 4) & 0xFF;
}
constexpr macro_word short_column(unsigned bit) {
  return SHORT[bit];
}

using Words = std::array<macro_word, 3>;

/// A bit of a macro's input, counted from the most significant of _PARA[0].
Words with_bit(Words words, unsigned bit) {
  words[bit / 32] ^= macro_word{1} << (31 - bit % 32);
  return words;
}

struct Code {
  std::array<const char *, 3> macros;
  unsigned data_bits;
  unsigned check_bits;
  unsigned first_data_bit;  ///< in the input
  unsigned first_check_bit;
  macro_word (*column)(unsigned bit);
  macro_word of_zero;        ///< check bits of data 0
  unsigned generated_shift;  ///< of the last generated bit in the result
  unsigned syndrome_shift;
  std::vector<Words> ignored;  ///< input bits that mean nothing
};

const Code CODES[] = {
    {{"cp_9ACA_0101", "cpj_A28A_0101", "cpj_A2CA_0101"},
     64,
     8,
     16,
     0,
     wide_column,
     0x3C,
     24,
     0,
     {{0x00FF0000, 0, 0}, {0, 0, 0x0000FFFF}}},
    {{"cp_9ACB_0101", "cpj_A28B_0101", "cpj_A2CB_0101"},
     11,
     6,
     16,
     0,
     short_column,
     0x15,
     10,
     26,
     {{0x03FF0000, 0, 0}, {0x1F, MACRO_ALL, MACRO_ALL}}},
    {{"cp_9ACC_0101", "cpj_A28C_0101", "cpj_A2CC_0101"}, 64, 8, 0, 64, wide_column, 0, 8, 24, {{0, 0, 0x00FFFFFF}}},
};

class Ecc : public testing::TestWithParam<Code> {
 protected:
  static macro_word run(const char *macro, const Words &entry) {
    const RunResult run = support::run_macro({macro, 7, {entry.begin(), entry.end()}, {}, 4, 5}, CPU);
    EXPECT_EQ(run.result, 0);
    EXPECT_EQ(run.status, 0U) << "the status that was there before must be cleared";
    EXPECT_EQ(run.written, std::vector<std::size_t>{0});
    EXPECT_EQ(run.calls.size(), GetParam().check_bits);
    return run.data[0];
  }
  /// The result for these generated bits and this syndrome.
  static macro_word result(macro_word generated, macro_word syndrome) {
    return generated << GetParam().generated_shift | syndrome << GetParam().syndrome_shift;
  }
};

TEST_P(Ecc, EachDataBitShowsItsColumn) {
  const Code &code = GetParam();
  for (const char *macro : code.macros) {
    // Without check bits read, the syndrome repeats what was generated.
    EXPECT_EQ(run(macro, {}), result(code.of_zero, code.of_zero)) << macro;
    for (unsigned bit = 0; bit < code.data_bits; ++bit) {
      const macro_word check = code.of_zero ^ code.column(bit);
      EXPECT_EQ(run(macro, with_bit({}, code.first_data_bit + bit)), result(check, check)) << macro << " bit " << bit;
    }
  }
}

TEST_P(Ecc, ACleanEntryHasNoSyndromeAndASpoiltOneShowsTheBit) {
  const Code &code = GetParam();
  const char *macro = code.macros[0];
  Words clean{};
  macro_word check = code.of_zero;
  for (unsigned bit = 0; bit < code.data_bits; bit += 3) {
    clean = with_bit(clean, code.first_data_bit + bit);
    check ^= code.column(bit);
  }
  for (unsigned bit = 0; bit < code.check_bits; ++bit)
    if ((check >> (code.check_bits - 1 - bit) & 1) != 0)
      clean = with_bit(clean, code.first_check_bit + bit);

  EXPECT_EQ(run(macro, clean), result(check, 0));
  for (unsigned bit = 0; bit < code.data_bits; ++bit)
    EXPECT_EQ(run(macro, with_bit(clean, code.first_data_bit + bit)),
              result(check ^ code.column(bit), code.column(bit)))
        << "data bit " << bit;
  for (unsigned bit = 0; bit < code.check_bits; ++bit)
    EXPECT_EQ(run(macro, with_bit(clean, code.first_check_bit + bit)),
              result(check, macro_word{1} << (code.check_bits - 1 - bit)))
        << "check bit " << bit;
  for (const Words &ignored : code.ignored)
    EXPECT_EQ(run(macro, {clean[0] ^ ignored[0], clean[1] ^ ignored[1], clean[2] ^ ignored[2]}), result(check, 0));
}

/// The primitives are called one for each check bit, with its sense, and their failures are cleared.
TEST(EccCalls, SensesAndFailures) {
  using Lines = std::vector<std::string>;
  const Lines plain(8, "egen 2 0");
  const Lines front{"egen 2 0", "egen 2 0", "egen 2 1", "egen 2 1", "egen 2 1", "egen 2 1", "egen 2 0", "egen 2 0"};
  const Lines narrow{"egen 1 0", "egen 1 1", "egen 1 0", "egen 1 1", "egen 1 0", "egen 1 1"};
  const std::pair<const char *, Lines> rows[] = {
      {"cp_9ACA_0101", front}, {"cp_9ACB_0101", narrow}, {"cp_9ACC_0101", plain}};
  for (const auto &[macro, calls] : rows) {
    support::Recorder recorder(CPU);
    recorder.fail_call(2);
    const RunResult run = support::run_macro({macro, 0, {1, 2, 3}}, CPU, recorder);
    EXPECT_EQ(run.calls, calls) << macro;
    EXPECT_EQ(run.status, 0U);
    EXPECT_EQ(run.result, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Codes, Ecc, testing::ValuesIn(CODES),
                         [](const auto &row) { return std::string(row.param.macros[0]); });

}  // namespace
