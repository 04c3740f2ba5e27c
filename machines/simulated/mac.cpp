#include <fmt/format.h>

#include "machines/simulated/dimm_group.hpp"

namespace simulated {
namespace {

using scdb::Reason;

constexpr JtagRegister CONTROL{.name = "control", .read = 0x1B, .write = 0x9B};
constexpr unsigned INSTRUCTIONS[] = {0xF0, 0xFA};

constexpr unsigned REGISTER_ACCESS = 2;
constexpr macro_word CHANNELS = 0xF0;  ///< port bits of the four memory channels

/// The register file on the I2C bus: 32-bit registers, some of them once for each memory channel.
constexpr I2cDevice REGISTERS[] = {
    {.name = "channel 4", .first = 4, .mode = REGISTER_ACCESS, .ports = CHANNELS},
    {.name = "channel 6-7", .first = 6, .count = 2, .mode = REGISTER_ACCESS, .ports = CHANNELS},
    {.name = "file 16", .first = 16, .mode = REGISTER_ACCESS},
    {.name = "file 18", .first = 18, .mode = REGISTER_ACCESS},
    {.name = "file 24-27", .first = 24, .count = 4, .mode = REGISTER_ACCESS},
    {.name = "file 90-91", .first = 90, .count = 2, .mode = REGISTER_ACCESS},
    {.name = "file 117-118", .first = 117, .count = 2, .mode = REGISTER_ACCESS},
    {.name = "file 125", .first = 125, .mode = REGISTER_ACCESS},
    {.name = "file 127-128", .first = 127, .count = 2, .mode = REGISTER_ACCESS},
    {.name = "file 140", .first = 140, .mode = REGISTER_ACCESS},
    {.name = "file 142", .first = 142, .mode = REGISTER_ACCESS},
    {.name = "file 144-148", .first = 144, .count = 5, .mode = REGISTER_ACCESS},
    {.name = "file 150-155", .first = 150, .count = 6, .mode = REGISTER_ACCESS},
    {.name = "file 158-193", .first = 158, .count = 36, .mode = REGISTER_ACCESS},
    {.name = "file 195-196", .first = 195, .count = 2, .mode = REGISTER_ACCESS},
    {.name = "file 198-210", .first = 198, .count = 13, .mode = REGISTER_ACCESS},
    {.name = "file 224-226", .first = 224, .count = 3, .mode = REGISTER_ACCESS},
};

constexpr I2cDevice OPTION{.name = "option", .first = 1, .mode = REGISTER_ACCESS};

/// A DIMM group's registers.
struct GroupRegisters {
  I2cDevice configuration;
  I2cDevice mode;
  I2cDevice driver;
  I2cDevice impedance;
  I2cDevice completion;
};
constexpr GroupRegisters GROUPS[] = {
    {.configuration = {.name = "group 1 configuration", .first = 32, .mode = REGISTER_ACCESS},
     .mode = {.name = "group 1 mode", .first = 34, .mode = REGISTER_ACCESS, .reset = 0},
     .driver = {.name = "group 1 driver control", .first = 35, .mode = REGISTER_ACCESS, .reset = 0},
     .impedance = {.name = "group 1 impedance", .first = 38, .mode = REGISTER_ACCESS, .reset = 0},
     .completion = {.name = "group 1 completion", .first = 108, .mode = REGISTER_ACCESS, .reset = 0}},
    {.configuration = {.name = "group 2 configuration", .first = 33, .mode = REGISTER_ACCESS},
     .mode = {.name = "group 2 mode", .first = 36, .mode = REGISTER_ACCESS, .reset = 0},
     .driver = {.name = "group 2 driver control", .first = 37, .mode = REGISTER_ACCESS, .reset = 0},
     .impedance = {.name = "group 2 impedance", .first = 39, .mode = REGISTER_ACCESS, .reset = 0},
     .completion = {.name = "group 2 completion", .first = 109, .mode = REGISTER_ACCESS, .reset = 0}},
};

// Two DIMMs in each group, with terminations and two ranks each, and drivers that can be adjusted.
constexpr std::int64_t ALL_FITTED = 0xE180E180;
constexpr std::int64_t LONGEST = 1'000'000;
constexpr ChipParameter PARAMETERS[] = {
    {"option", 0, MACRO_ALL, 1},
    {"group1-configuration", 0, MACRO_ALL, ALL_FITTED},
    {"group1-pull-up-code", 0, 15, 9},
    {"group1-pull-down-code", 0, 15, 6},
    {"group1-comparators", 0, 3, 3},
    {"group1-up-steps-p", 0, 16, 5},
    {"group1-up-steps-n", 0, 16, 7},
    {"group1-down-steps-p", 0, 16, 6},
    {"group1-down-steps-n", 0, 16, 4},
    {"group1-settling-time", 0, LONGEST, 1},
    {"group1-completion-time", 0, LONGEST, 2500},
    {"group1-completion-errors", 0, 3, 0},
    {"group2-configuration", 0, MACRO_ALL, ALL_FITTED},
    {"group2-pull-up-code", 0, 15, 10},
    {"group2-pull-down-code", 0, 15, 5},
    {"group2-comparators", 0, 3, 3},
    {"group2-up-steps-p", 0, 16, 6},
    {"group2-up-steps-n", 0, 16, 6},
    {"group2-down-steps-p", 0, 16, 3},
    {"group2-down-steps-n", 0, 16, 8},
    {"group2-settling-time", 0, LONGEST, 1},
    {"group2-completion-time", 0, LONGEST, 3500},
    {"group2-completion-errors", 0, 3, 0},
};

class MemoryController final : public ChipModel {
 public:
  explicit MemoryController(const ChipSetup &setup) : ChipModel{setup} {
    add(CONTROL);
    for (const unsigned code : INSTRUCTIONS)
      add_instruction(code);
    for (const I2cDevice &row : REGISTERS)
      add(row);
    add_with_reset(OPTION, static_cast<macro_word>(setup.parameter("option")));
    for (unsigned i = 0; i < groups_.size(); ++i)
      add_group(setup, i);
  }

  [[nodiscard]] std::unique_ptr<ChipModel> clone() const override { return std::make_unique<MemoryController>(*this); }

 private:
  void add_with_reset(I2cDevice row, macro_word reset) {
    row.reset = reset;
    add(row);
  }

  void add_group(const ChipSetup &setup, unsigned index) {
    const GroupRegisters &rows = GROUPS[index];
    const unsigned group = index + 1;
    const auto parameter = [&](std::string_view name) {
      return static_cast<macro_word>(setup.parameter(fmt::format("group{}-{}", group, name)));
    };
    add_with_reset(rows.configuration, parameter("configuration"));
    const DimmGroup::Registers registers{.mode = add(rows.mode),
                                         .driver = add(rows.driver),
                                         .impedance = add(rows.impedance),
                                         .completion = add(rows.completion)};
    groups_[index] = {state(), group, registers,
                      DimmElectrics{.pull_up_code = parameter("pull-up-code"),
                                    .pull_down_code = parameter("pull-down-code"),
                                    .comparators = parameter("comparators"),
                                    .steps = {.up_p = parameter("up-steps-p"),
                                              .up_n = parameter("up-steps-n"),
                                              .down_p = parameter("down-steps-p"),
                                              .down_n = parameter("down-steps-n")},
                                    .settling_time = parameter("settling-time"),
                                    .completion_time = parameter("completion-time"),
                                    .completion_errors = parameter("completion-errors")}};
  }

  Reason before_device_read(unsigned device, unsigned /*instance*/) override {
    for (unsigned i = 0; i < groups_.size(); ++i) {
      if (device == GROUPS[i].mode.first)
        groups_[i].before_mode_read(state(), now());
      else if (device == GROUPS[i].impedance.first)
        groups_[i].before_impedance_read(state());
      else if (device == GROUPS[i].completion.first)
        groups_[i].before_completion_read(state(), now());
    }
    return Reason::none;
  }

  Reason device_written(unsigned device, unsigned /*instance*/) override {
    for (unsigned i = 0; i < groups_.size(); ++i) {
      if (device == GROUPS[i].mode.first)
        groups_[i].mode_written(state());
      else if (device == GROUPS[i].driver.first)
        groups_[i].driver_written(state(), now());
      else if (device == GROUPS[i].impedance.first)
        groups_[i].impedance_written(state());
      else if (device == GROUPS[i].completion.first)
        groups_[i].completion_written(state(), now());
    }
    return Reason::none;
  }

  std::array<DimmGroup, std::size(GROUPS)> groups_{};
};

}  // namespace

constinit const Blueprint MEMORY_CONTROLLER{.build = [](const ChipSetup &setup) -> std::unique_ptr<ChipModel> {
                                              return std::make_unique<MemoryController>(setup);
                                            },
                                            .parameters = PARAMETERS};

}  // namespace simulated
