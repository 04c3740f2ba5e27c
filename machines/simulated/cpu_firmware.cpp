#include "machines/simulated/cpu_firmware.hpp"

#include <algorithm>
#include <vector>

#include "machines/simulated/cpu_clock.hpp"

namespace simulated {
namespace {

using namespace clock;
using scdb::JtagAccess;
using scdb::Reason;

constexpr macro_word WRITE = 2;
constexpr macro_word READ = 1;
constexpr macro_word NO_DIRECTION = MACRO_ALL;

/// A run of one macro of the firmware on one chip.  Its steps say whether the run goes on.
class Firmware {
 public:
  Firmware(ChipModel &chip, const scdb::NestedCall &call) : chip_{chip}, call_{call} {}

  [[nodiscard]] Reason run();

  bool start_clocks() { return write(START_CLOCKS.write, 0); }
  bool stop_clock_a() { return write(STOP_CLOCKS.write, 0); }
  bool stop_clock_b() { return write(STOP_CLOCKS.write + 1, 0); }
  bool align_clocks() { return write(ALIGN_CLOCKS.write, 0); }
  bool debug_stop() { return write(DEBUG_STOP.write, 0); }

  bool end_run_a() { return change_control(~DOMAIN_A, 0); }
  /// With the second domain the core stands: its operand registers are opened.
  bool end_run_b() { return change_control(~DOMAIN_B, 0) && write(CORE_MODE.write, 0xC0000000); }

  /// Gates are closed from the outer ones in, and the scan clocks take over.
  bool close_gates() {
    return has(call_.para) && change_control(~(call_.para[0] & OUTER_GATES), 0)
           && change_control(~(call_.para[0] & GATES), 0) && change_control(MACRO_ALL, SCANNING);
  }

  bool pulse() {
    if (!has(call_.para))
      return false;
    switch (call_.para[0]) {
      case 0x80000000:
        return write(RESET_PULSE.write, 0);
      case 0x40000000:
        return write(RESTART_PULSE.write, 0);
      default:
        return fail(Reason::macro_failed);
    }
  }

  bool pll_power() {
    if (!has(call_.para))
      return false;
    if ((call_.para[0] & 0x80000000) == 0)
      return write(PLL_CONTROL.write, 0);
    return write(PLL_CONTROL.write, PLL_POWERED) && write(PLL_CONTROL.write, PLL_POWERED | PLL_OUT_OF_RESET);
  }

  bool soft_start() { return has(call_.para) && write(SOFT_START.write, call_.para[0]); }

  /// Parameter bits 31 and 30: domains A and B.
  bool select_domains() {
    if (!has(call_.para))
      return false;
    constexpr macro_word BY_DOMAINS[] = {0, CONNECT_B, CONNECT_A, CONNECT_A | CONNECT_B | COUPLE};
    return write(PLL_CONTROL.write, PLL_POWERED | PLL_OUT_OF_RESET | BY_DOMAINS[call_.para[0] >> 30]);
  }

  bool distribution() {
    if (!has(call_.para))
      return false;
    const std::vector<macro_word> words((chip_.ring_bits(DISTRIBUTION_RING) + 31) / 32, call_.para[0]);
    return store(DISTRIBUTION_RING, words);
  }

  bool synthesis() { return has(call_.data) && store(SYNTHESIS_RING, {call_.data, SYNTHESIS_WORDS}); }

  /// Parameter word 0, bits 31 to 29: which of the clock controls are written; word 1, bit 31: the first one with both
  /// domains running and all gates open.
  bool clock_control() {
    if (!has(call_.para) || !has(call_.data))
      return false;
    for (unsigned i = 0; i < 3; ++i) {
      const macro_word on = i == 0 && (call_.para[1] & 0x80000000) != 0 ? DOMAIN_A | DOMAIN_B | GATES : 0;
      if ((call_.para[0] << i & 0x80000000) != 0 && !write(CONTROL_1.write + i, call_.data[i] | on))
        return false;
    }
    return true;
  }

  /// Operand registers from the number in the parameter's lower half on, as many as its upper half says, 0 meaning one.
  /// Without parameter or data: a write clears all of them, a read has nothing to tell.
  bool operands() {
    const bool writes = call_.rw == WRITE;
    if (!writes && call_.rw != READ)
      return fail(Reason::bad_kind);
    const bool all = call_.para == nullptr || call_.data == nullptr;
    if (all && !writes)
      return true;
    const unsigned first = all ? 0 : call_.para[0] & 0xFFFF;
    const unsigned count = all ? OPERANDS : std::max(call_.para[0] >> 16, macro_word{1});
    if (first >= OPERANDS || count > OPERANDS - first)
      return fail(Reason::no_register);
    for (unsigned i = 0; i < count; ++i)
      if (!(writes ? write(FIRST_OPERAND_WRITE + first + i, all ? 0 : call_.data[i])
                   : read(FIRST_OPERAND_READ + first + i, call_.data[i])))
        return false;
    return true;
  }

  bool start_words() {
    if (!has(call_.para))
      return false;
    for (unsigned i = 0; i < START_WORDS.count; ++i)
      if (!write(START_WORDS.write + i, call_.para[i]))
        return false;
    return true;
  }

  // Set-up registers: the parameter names the register by its instruction.
  bool errors_1() { return set_up({ERROR_STATUS_1.write, ERROR_MASK.write}); }
  bool clock_errors() { return set_up({CLOCK_ERRORS.write}); }
  bool trace_control() { return set_up({TRACE_CONTROL_1.write, TRACE_CONTROL_2.write}); }
  bool errors_2() { return set_up({ERROR_STATUS_2.write}); }
  bool core_mode() { return set_up({CORE_MODE.write}); }

  /// Unless the parameter's bit 31 says to leave the core standing.
  bool core_go() { return has(call_.para) && ((call_.para[0] & 0x80000000) != 0 || write(CORE_GO.write, 0)); }
  bool end_debug() { return write(DEBUG_CONTROL.write, 0) && core_go(); }

 private:
  bool fail(Reason reason) {
    reason_ = reason;
    return false;
  }
  bool has(const macro_word *area) { return area != nullptr || fail(Reason::null_pointer); }

  bool went_well(const scdb::Outcome &outcome) { return outcome.ok() || fail(outcome.reason); }
  bool write(unsigned code, macro_word word) { return went_well(chip_.jtag(JtagAccess::write, code, word)); }
  bool read(unsigned code, macro_word &word) { return went_well(chip_.jtag(JtagAccess::read, code, word)); }
  /// Of a ring that is shorter than usual the first words.
  bool store(unsigned ring, std::span<const macro_word> words) {
    const std::size_t room = (chip_.ring_bits(ring) + 31) / 32;
    return went_well(chip_.write_ring(ring, words.first(std::min(words.size(), room))));
  }

  bool change_control(macro_word keep, macro_word set) {
    macro_word word = 0;
    return read(CONTROL_1.read, word) && write(CONTROL_1.write, (word & keep) | set);
  }

  bool set_up(std::initializer_list<unsigned> codes) {
    if (!has(call_.para) || !has(call_.data))
      return false;
    for (const unsigned code : codes)
      if (code == call_.para[0])
        return write(code, call_.data[0]);
    return fail(Reason::no_register);
  }

  ChipModel &chip_;
  const scdb::NestedCall &call_;
  Reason reason_ = Reason::none;
};

constexpr macro_word ANY_DIRECTION = 0;

template <bool (Firmware::*STEP)()>
bool on(Firmware &firmware) {
  return (firmware.*STEP)();
}

struct MacroRow {
  macro_word number;
  macro_word rw;
  bool (*run)(Firmware &);
};
constexpr MacroRow MACROS[] = {
    {0x1A00, NO_DIRECTION, on<&Firmware::start_clocks>}, {0x1A01, NO_DIRECTION, on<&Firmware::stop_clock_a>},
    {0x1A02, NO_DIRECTION, on<&Firmware::stop_clock_b>}, {0x1A06, NO_DIRECTION, on<&Firmware::align_clocks>},
    {0x1A11, NO_DIRECTION, on<&Firmware::end_run_a>},    {0x1A12, NO_DIRECTION, on<&Firmware::end_run_b>},
    {0x1A13, NO_DIRECTION, on<&Firmware::pulse>},        {0x1A14, WRITE, on<&Firmware::synthesis>},
    {0x1A15, WRITE, on<&Firmware::clock_control>},       {0x1A20, WRITE, on<&Firmware::pll_power>},
    {0x1A21, NO_DIRECTION, on<&Firmware::close_gates>},  {0x1A31, NO_DIRECTION, on<&Firmware::end_debug>},
    {0x1A34, ANY_DIRECTION, on<&Firmware::operands>},    {0x1A35, WRITE, on<&Firmware::errors_1>},
    {0x1A36, WRITE, on<&Firmware::clock_errors>},        {0x1A37, WRITE, on<&Firmware::trace_control>},
    {0x1A39, NO_DIRECTION, on<&Firmware::core_go>},      {0x1A3A, WRITE, on<&Firmware::errors_2>},
    {0x1A3C, WRITE, on<&Firmware::core_mode>},           {0x1A3E, WRITE, on<&Firmware::distribution>},
    {0x1A40, NO_DIRECTION, on<&Firmware::start_words>},  {0x1A50, NO_DIRECTION, on<&Firmware::select_domains>},
    {0x1A62, WRITE, on<&Firmware::soft_start>},          {0x1A73, NO_DIRECTION, on<&Firmware::debug_stop>},
};

Reason Firmware::run() {
  for (const MacroRow &row : MACROS) {
    if (row.number != call_.number)
      continue;
    if (row.rw != ANY_DIRECTION && row.rw != call_.rw)
      return Reason::bad_kind;
    return row.run(*this) ? Reason::none : reason_;
  }
  return Reason::no_macro;
}

}  // namespace

constinit const std::array<macro_word, FIRMWARE_MACRO_COUNT> FIRMWARE_MACROS = []() noexcept {
  static_assert(std::size(MACROS) == FIRMWARE_MACRO_COUNT);
  std::array<macro_word, FIRMWARE_MACRO_COUNT> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i)
    numbers[i] = MACROS[i].number;
  return numbers;
}();

Reason run_firmware_macro(ChipModel &chip, const scdb::NestedCall &call) {
  Firmware firmware{chip, call};
  return firmware.run();
}

}  // namespace simulated
