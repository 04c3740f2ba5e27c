#include "cpu/clock_ratio.hpp"
#include "frame/scan.hpp"

IDENTIFICATION static const char mcrid[] = "MACRO: cp_9AF0_0101 (0001)  2026.11.21 09:00:00  PRO1 macrodebug";

namespace {

/// Sets the clock ratio directly, without the clock macros.  _PARA is as for cp_9AE0_0101.
struct DirectClockRatio : frame::ScanFrame {
  // PLL control: power up in reset, then run; the domains are added to that.
  static constexpr macro_word PLL_IN_RESET = 0x80;
  static constexpr macro_word PLL_RUNNING = 0x90;

  struct DomainRow {
    macro_word selection;    ///< _PARA[0] bits 30-31
    macro_word pll_control;  ///< the word that connects these domains
  };
  static constexpr DomainRow DOMAIN_ROWS[] = {
      {0x80000000, 0x80000090},
      {0x40000000, 0x08000090},
      {0xC0000000, 0x89000090},
  };

  static constexpr macro_word DISTRIBUTION_RING = 0xAA;
  static constexpr int32_t DISTRIBUTION_WORDS = 211;
  static constexpr macro_word SYNTHESIS_RING = 0x56;

  int run() {
    if (!(write(cpu::PLL_CONTROL, PLL_IN_RESET) && write(cpu::PLL_CONTROL, PLL_RUNNING)))
      return frame::STOPPED;
    _WORK0 = 0;
    for (const DomainRow &row : DOMAIN_ROWS)
      if (row.selection == (_PARA[0] & cpu::DOMAINS))
        _WORK0 = row.pll_control;
    if (_WORK0 == 0)
      return refuse_selection();
    if (!write(cpu::PLL_CONTROL, _WORK0))
      return frame::STOPPED;

    for (_COUNT0 = 0; _COUNT0 < DISTRIBUTION_WORDS; ++_COUNT0)
      _SCANBUFFER[_COUNT0] = 0;
    if (!(write_ring(DISTRIBUTION_RING) && write(cpu::START_CLOCKS, 0)
          && write(cpu::CLOCK_CONTROL_1, _PARA[3] | cpu::CLOCKS_ON) && write(cpu::CLOCK_CONTROL_2, _PARA[1])
          && write(cpu::CLOCK_CONTROL_3, _PARA[2])))
      return frame::STOPPED;

    if (!cpu::find_clock_ratio(_PARA[0], _SCANBUFFER))
      return refuse_selection();
    _SCANBUFFER[2] = cpu::REFERENCE_CLOCK;
    return ended(write_ring(SYNTHESIS_RING));
  }

  int refuse_selection() const {
    refuse(SUB_SELECTOR, _PARA[0]);
    return frame::STOPPED;
  }
};

}  // namespace

MACRO_ENTRY(cp_9AF0_0101, DirectClockRatio)
