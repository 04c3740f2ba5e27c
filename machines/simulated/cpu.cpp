#include "machines/simulated/cpu_arrays.hpp"
#include "machines/simulated/cpu_clock.hpp"
#include "machines/simulated/cpu_firmware.hpp"
#include "machines/simulated/cpu_ports.hpp"

namespace simulated {
namespace {

using scdb::Reason;

/// A register port takes commands through one instruction and answers through another.
constexpr JtagRegister PORT_COMMAND{.name = "port command", .write = 0xB0, .reset = 0};
constexpr JtagRegister PORT_ANSWER{.name = "port answer", .read = 0xB1, .reset = 0};
constexpr JtagRegister PACKED_0{.name = "bytes 0-3 written", .write = 0xB2, .reset = 0};
constexpr JtagRegister PACKED_4{.name = "bytes 4-7 written", .write = 0xB3, .reset = 0};
constexpr JtagRegister STATUS{.name = "status", .read = 0x0F, .mask = 1, .reset = 0, .note = "lowest bit: running"};

/// Takes command words for what stands behind the scan rings: each unit knows its own.
constexpr JtagRegister SCAN_COMMAND{
    .name = "scan command", .write = 0x8F, .reset = 0, .note = "the last command given"};

constexpr JtagRegister REGISTERS[] = {
    {.name = "control A", .read = 0x61, .write = 0x41},
    {.name = "control B", .read = 0x7E, .write = 0x5E},
    {.name = "command A", .write = 0xB8, .reset = 0, .note = "the last command given"},
    {.name = "command B", .write = 0xB9, .reset = 0, .note = "the last command given"},
};

constexpr RingRange RINGS[] = {
    {0x30, 0x3F, 37707},                      // caches and memory ports
    {0x56, 0x56, 96},                         // clock synthesiser
    {0x5C, 0x5C, 4096},                       // link training
    {0x90, 0x99, 37707},                      // second set of caches
    {0x9F, 0x9F, 37707}, {0xAA, 0xAA, 6752},  // clock distribution
};

// A port command: operation in the upper six bits, register number below it, data in the low twenty bits.
enum Operation : unsigned {
  RESET = 0x04,
  STOP = 0x08,
  START = 0x0C,
  WRITE = 0x10,
  SET_STATE = 0x14,
  READ_FIRST = 0x18,
  READ_SECOND = 0x19,
  READ_FOR_BYTE = 0x1A,
  READ_STATE = 0x1B,
};
constexpr macro_word STATE_BIT = 0x8000;
constexpr macro_word BYTE = 0xFF;
constexpr macro_word VALUE = 0xFFFFF;

/// Registers stand in groups of eight: the first group's are bytes, the others have twenty bits.
constexpr unsigned GROUP_SIZE = 8;
struct GroupRow {
  unsigned first;
  macro_word mask;
  std::string_view name;
  std::string_view name_before;
};
constexpr GroupRow GROUPS[] = {
    {0, BYTE, "port 0-7", "port 0-7 before"},
    {16, VALUE, "port 16-23", "port 16-23 before"},
    {32, VALUE, "port 32-39", "port 32-39 before"},
};

class Cpu final : public ChipModel {
 public:
  explicit Cpu(const ChipSetup &setup) : ChipModel{setup} {
    for (std::size_t i = 0; i < std::size(GROUPS); ++i)
      groups_[i] = {add_group(GROUPS[i].name, GROUPS[i].mask, "values"),
                    add_group(GROUPS[i].name_before, GROUPS[i].mask, "values before the last write")};
    Layout flag = register_layout("port state", 1, "the bit that the state answer shows");
    flag.mask = STATE_BIT;
    flag.reset = 0;
    state_bit_ = state().add(std::move(flag));
    add(PORT_COMMAND);
    answer_ = add(PORT_ANSWER);
    add(PACKED_0);
    add(PACKED_4);
    status_ = add(STATUS);
    for (const JtagRegister &row : REGISTERS)
      add(row);
    for (const JtagRegister &row : clock::registers())
      add(row);
    clock_ = clock::Generator{state()};
    add(SCAN_COMMAND);
    add_instruction(ports::SAMPLE);
    ports_ = ports::MemoryPorts{state()};
    arrays_ = arrays::MemoryArrays{state()};
  }

  [[nodiscard]] std::unique_ptr<ChipModel> clone() const override { return std::make_unique<Cpu>(*this); }

 private:
  struct Group {
    State::Id values = 0;
    State::Id before = 0;
  };
  static constexpr unsigned BYTES = 0;  ///< the group of byte registers

  State::Id add_group(std::string_view name, macro_word mask, std::string_view note) {
    Layout layout = register_layout(name, GROUP_SIZE, note);
    layout.mask = mask;
    return state().add(std::move(layout));
  }

  Reason after_write(unsigned code, macro_word word) override {
    switch (code) {
      case PORT_COMMAND.write:
        obey(word);
        break;
      case PACKED_0.write:
        write_packed(0, word);
        break;
      case PACKED_4.write:
        write_packed(4, word);
        break;
      case SCAN_COMMAND.write:
        if (!ports_.command(state(), word))
          arrays_.command(state(), word);
        break;
      default:
        issued(code);
        break;
    }
    return Reason::none;
  }

  Reason before_read(unsigned code) override {
    clock_.before_read(state(), code);
    return Reason::none;
  }

  Reason instructed(unsigned code) override {
    issued(code);
    return Reason::none;
  }

  /// With a word or without.
  void issued(unsigned code) {
    clock_.issued(state(), code);
    ports_.issued(state(), code, now());
  }

  void ring_written(unsigned ring) override { ports_.ring_written(state(), ring); }

  Reason run_nested(const scdb::NestedCall &call) override { return run_firmware_macro(*this, call); }

  void obey(macro_word command) {
    const unsigned number = command >> 20 & 0x3F;
    switch (command >> 26) {
      case RESET:
        reset();
        break;
      case STOP:
        state().write(status_, 0, 0);
        break;
      case START:
        state().write(status_, 0, 1);
        break;
      case WRITE:
        write(number, command & VALUE);
        break;
      case SET_STATE:
        state().write(state_bit_, 0, command);
        break;
      case READ_FIRST:
        answer(first_word(number));
        break;
      case READ_SECOND:
        answer(second_word(number));
        break;
      case READ_FOR_BYTE:
        answer(number < GROUP_SIZE ? packed(number & 4) : first_word(number));
        break;
      case READ_STATE:
        answer(state().read(state_bit_, 0));
        break;
      default:
        break;  // no operation: the last answer stands
    }
  }

  void answer(macro_word word) { state().write(answer_, 0, word); }

  /// The group that a register number lies in; null where there is no register.
  [[nodiscard]] const Group *group_of(unsigned number) const {
    for (std::size_t i = 0; i < std::size(GROUPS); ++i)
      if (number >= GROUPS[i].first && number < GROUPS[i].first + GROUP_SIZE)
        return &groups_[i];
    return nullptr;
  }

  [[nodiscard]] macro_word first_word(unsigned number) {
    const Group *group = group_of(number);
    return group == nullptr ? 0 : state().read(group->values, number % GROUP_SIZE);
  }

  [[nodiscard]] macro_word second_word(unsigned number) {
    const Group *group = group_of(number);
    return group == nullptr ? 0 : state().read(group->before, number % GROUP_SIZE);
  }

  void write(unsigned number, macro_word value) {
    const Group *group = group_of(number);
    if (group == nullptr)
      return;
    state().write(group->before, number % GROUP_SIZE, state().read(group->values, number % GROUP_SIZE));
    state().write(group->values, number % GROUP_SIZE, value);
  }

  /// Four byte registers in one word, the first the most significant.
  [[nodiscard]] macro_word packed(unsigned first) {
    macro_word word = 0;
    for (unsigned i = 0; i < 4; ++i)
      word = word << 8 | state().read(groups_[BYTES].values, first + i);
    return word;
  }

  void write_packed(unsigned first, macro_word word) {
    for (unsigned i = 0; i < 4; ++i)
      write(first + i, word >> (24 - 8 * i) & BYTE);
  }

  void reset() {
    for (const Group &group : groups_) {
      state().reset(group.values);
      state().reset(group.before);
    }
    state().reset(state_bit_);
    state().reset(status_);
  }

  std::array<Group, std::size(GROUPS)> groups_{};
  State::Id state_bit_ = 0;
  State::Id answer_ = 0;
  State::Id status_ = 0;
  clock::Generator clock_;
  ports::MemoryPorts ports_;
  arrays::MemoryArrays arrays_;
};

}  // namespace

constinit const Blueprint CPU_CHIP{
    .build = [](const ChipSetup &setup) -> std::unique_ptr<ChipModel> { return std::make_unique<Cpu>(setup); },
    .rings = RINGS,
    .nested = FIRMWARE_MACROS};

}  // namespace simulated
