#include <fmt/format.h>

#include "machines/simulated/chip.hpp"

namespace simulated {
namespace {

using scdb::Direction;
using scdb::Reason;

constexpr I2cDevice DEVICES[] = {
    {.name = "clock source", .first = 0x14, .bytes = 16},
    {.name = "power control", .first = 0x18, .bytes = 64},
    {.name = "fan control", .first = 0x36, .count = 2, .bytes = 32},
    {.name = "sensor", .first = 0x48, .count = 4, .note = "temperature and voltage"},
    {.name = "memory", .first = 0x50, .count = 8, .bytes = 256, .note = "board identification"},
    {.name = "ambient sensor", .first = 0x5B},
    {.name = "panel", .first = 0x92, .bytes = 16},
    {.name = "log", .first = 0xA0, .bytes = 4096, .note = "keeps what is written to it"},
};

/// A stretch of the maintenance bus's address space: bytes, a word's first byte being the most significant.
struct Window {
  std::string_view name;
  macro_word address;
  macro_word bytes;
};
constexpr Window WINDOWS[] = {
    {"0x10000", 0x10000, 0x1000},
    {"0x30000", 0x30000, 0x100},
};

constexpr ChipParameter PARAMETERS[] = {{"banks", 1, 16, 4}};

class ServiceProcessor final : public ChipModel {
 public:
  explicit ServiceProcessor(const ChipSetup &setup) : ChipModel{setup} {
    for (const I2cDevice &row : DEVICES)
      add(row);
    for (std::int64_t bank = 0; bank < setup.parameter("banks"); ++bank) {
      std::array<State::Id, std::size(WINDOWS)> &windows = banks_.emplace_back();
      for (std::size_t i = 0; i < windows.size(); ++i)
        windows[i] = state().add(array_layout(fmt::format("bank {} {}", bank, WINDOWS[i].name), WINDOWS[i].bytes / 4, 1,
                                              "maintenance-bus registers"));
    }
  }

  [[nodiscard]] std::unique_ptr<ChipModel> clone() const override { return std::make_unique<ServiceProcessor>(*this); }

 private:
  [[nodiscard]] static const Window *window_of(macro_word address) {
    for (const Window &window : WINDOWS)
      if (address - window.address < window.bytes)
        return &window;
    return nullptr;
  }

  [[nodiscard]] bool has_mbc(macro_word address) const override { return window_of(address) != nullptr; }

  Reason access_mbc(Direction direction, macro_word bank, macro_word address, unsigned bytes,
                    macro_word &word) override {
    const Window *window = window_of(address);
    if (bank >= banks_.size() || window == nullptr || bytes > window->bytes - (address - window->address))
      return Reason::no_register;
    const State::Id cells = banks_[bank][static_cast<std::size_t>(window - WINDOWS)];
    macro_word result = 0;
    for (unsigned i = 0; i < bytes; ++i) {
      const macro_word offset = address - window->address + i;
      const unsigned shift = 24 - 8 * (offset % 4);
      if (direction == Direction::read) {
        result = result << 8 | (state().read(cells, offset / 4) >> shift & 0xFF);
      } else {
        const macro_word others = state().cells()[cells].get(offset / 4) & ~(macro_word{0xFF} << shift);
        state().write(cells, offset / 4, others | (word >> 8 * (bytes - 1 - i) & 0xFF) << shift);
      }
    }
    if (direction == Direction::read)
      word = result;
    return Reason::none;
  }

  std::vector<std::array<State::Id, std::size(WINDOWS)>> banks_;
};

}  // namespace

constinit const Blueprint SERVICE_PROCESSOR{.build = [](const ChipSetup &setup) -> std::unique_ptr<ChipModel> {
                                              return std::make_unique<ServiceProcessor>(setup);
                                            },
                                            .parameters = PARAMETERS};

}  // namespace simulated
