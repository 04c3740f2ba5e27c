#include <fmt/format.h>

#include "machines/simulated/chip.hpp"

namespace simulated {
namespace {

using scdb::Reason;

constexpr macro_word HALF_WORD = 0xFFFF;
constexpr macro_word BYTE = 0xFF;

/// A register is written by its read instruction with the highest bit set.
constexpr JtagRegister REGISTERS[] = {
    {.name = "bank A 16-17", .read = 16, .write = 144, .count = 2},
    {.name = "bank A 18-20", .read = 18, .write = 146, .count = 3},
    {.name = "bank A 21", .read = 21, .write = 149},
    {.name = "bank B 27-30", .read = 27, .write = 155, .count = 4, .mask = HALF_WORD},
    {.name = "status 36-37", .read = 36, .count = 2},
    {.name = "bank C 64-84", .read = 64, .write = 192, .count = 21},
    {.name = "status 116", .read = 116},
};

constexpr RingRange RINGS[] = {
    {0x90, 0x99, 4096},
    {0x9F, 0x9F, 4096},
};

// The table RAMs: rows of 80 bits, right-aligned in three words.  Each RAM has a row buffer, which the port reaches
// byte by byte: the address register says which RAM and what to do, the data register is the byte that it has selected.
constexpr JtagRegister TABLE_ADDRESS{.name = "table address", .write = 136, .reset = 0};
constexpr JtagRegister TABLE_DATA{
    .name = "table data", .read = 52, .write = 180, .mask = BYTE, .reset = 0, .note = "a byte of a row buffer"};

constexpr unsigned FIRST_RAM = 0x60;
constexpr unsigned RAM_COUNT = 6;  ///< four ways of one table, two of another
constexpr std::size_t ROWS = 512;
constexpr std::size_t ROW_WORDS = 3;

/// Bits 30-31 of a table address.
enum TableOperation : unsigned { FETCH_ROW = 1, STORE_ROW = 2, SELECT_BYTE = 3 };
constexpr macro_word TABLE_RAM = 0x3FFF0000;
constexpr macro_word TABLE_ROW = 0xFFFF;
/// Bits 10-13 of a table address select byte 0 to 9 of the row as 4 to 13; the other values select none.
constexpr unsigned FIRST_BYTE = 4;
constexpr unsigned BYTES = 10;

// The sequencer: a counter that starts from a preset value, and a table of its latest starts.
constexpr JtagRegister COMMAND{.name = "command", .write = 186, .reset = 0, .note = "the last command given"};
constexpr JtagRegister START_WINDOW{
    .name = "start window", .read = 58, .note = "the selected entry of the start table"};
constexpr std::size_t STARTS = 32;
constexpr macro_word OPERATION = 0xF0000000;
constexpr macro_word COUNTER = 0x1FF;

/// Bits 28-31 of a command.
enum Command : unsigned {
  LOAD = 1,          ///< the preset value goes into the counter
  START = 2,         ///< the sequence starts
  DIRECT = 3,        ///< it starts with the counter value of the command
  PRESET = 7,        ///< sets the preset value
  SELECT_START = 8,  ///< bits 23-27 select an entry of the start table
  START_ONE = 12,    ///< the same as START and DIRECT, for a controller that runs alone
  DIRECT_ONE = 13,
};

class SystemController final : public ChipModel {
 public:
  explicit SystemController(const ChipSetup &setup) : ChipModel{setup} {
    for (const JtagRegister &row : REGISTERS)
      add(row);
    table_address_ = add(TABLE_ADDRESS);
    table_data_ = add(TABLE_DATA);
    for (unsigned i = 0; i < RAM_COUNT; ++i)
      rams_[i] = state().add(array_layout(fmt::format("RAM 0x{:02X}", FIRST_RAM + i), ROWS, ROW_WORDS,
                                          "a way of a table, rows of 80 bits"));
    row_buffers_ = state().add(array_layout("row buffers", RAM_COUNT, ROW_WORDS, "one for each RAM"));
    add(COMMAND);
    start_window_ = add(START_WINDOW);
    preset_ = add_counter("preset", "what the counter is loaded with");
    counter_ = add_counter("counter", "the sequencer's counter");
    selected_start_ = add_counter("start selection", "the entry that the start window shows");
    starts_ = state().add(array_layout("starts", STARTS, 1, "the latest start at each counter value modulo 32"));
  }

  [[nodiscard]] std::unique_ptr<ChipModel> clone() const override { return std::make_unique<SystemController>(*this); }

 private:
  /// A byte of the row buffers: a word of them, and how far the byte lies from the word's lowest.
  struct RowByte {
    std::size_t index;
    unsigned shift;
  };

  State::Id add_counter(std::string_view name, std::string_view note) {
    Layout layout = register_layout(name, 1, note);
    layout.mask = COUNTER;
    layout.reset = 0;
    return state().add(std::move(layout));
  }

  Reason before_read(unsigned code) override {
    if (code == TABLE_DATA.read) {
      const std::optional<RowByte> byte = selected_byte();
      state().write(table_data_, 0, byte ? state().read(row_buffers_, byte->index) >> byte->shift : 0);
    } else if (code == START_WINDOW.read) {
      state().write(start_window_, 0, state().read(starts_, state().read(selected_start_, 0)));
    }
    return Reason::none;
  }

  Reason after_write(unsigned code, macro_word word) override {
    switch (code) {
      case TABLE_ADDRESS.write:
        return move_row(word);
      case TABLE_DATA.write:
        if (const std::optional<RowByte> byte = selected_byte()) {
          const macro_word others = state().read(row_buffers_, byte->index) & ~(BYTE << byte->shift);
          state().write(row_buffers_, byte->index, others | (word & BYTE) << byte->shift);
        }
        return Reason::none;
      case COMMAND.write:
        obey(word);
        return Reason::none;
      default:
        return Reason::none;
    }
  }

  [[nodiscard]] static std::size_t ram_of(macro_word address) { return ((address & TABLE_RAM) >> 16) - FIRST_RAM; }

  /// The byte that the address register selects, if it selects one.
  [[nodiscard]] std::optional<RowByte> selected_byte() {
    const macro_word address = state().read(table_address_, 0);
    const unsigned number = (address >> 10 & 0xF) - FIRST_BYTE;
    if (address >> 30 != SELECT_BYTE || ram_of(address) >= RAM_COUNT || number >= BYTES)
      return std::nullopt;
    const unsigned from_left = ROW_WORDS * 4 - BYTES + number;
    return RowByte{ram_of(address) * ROW_WORDS + from_left / 4, 24 - 8 * (from_left % 4)};
  }

  /// Moves a row between a RAM and its row buffer, where the address says so.
  Reason move_row(macro_word address) {
    const unsigned operation = address >> 30;
    if (operation == 0)
      return Reason::none;
    const std::size_t ram = ram_of(address);
    const std::size_t row = address & TABLE_ROW;
    if (ram >= RAM_COUNT || (operation != SELECT_BYTE && row >= ROWS))
      return Reason::no_entry;
    for (std::size_t i = 0; i < ROW_WORDS; ++i) {
      const std::size_t in_buffer = ram * ROW_WORDS + i;
      const std::size_t in_ram = row * ROW_WORDS + i;
      if (operation == FETCH_ROW)
        state().write(row_buffers_, in_buffer, state().read(rams_[ram], in_ram));
      else if (operation == STORE_ROW)
        state().write(rams_[ram], in_ram, state().read(row_buffers_, in_buffer));
    }
    return Reason::none;
  }

  void obey(macro_word command) {
    switch (command >> 28) {
      case PRESET:
        state().write(preset_, 0, command);
        break;
      case LOAD:
        state().write(counter_, 0, state().read(preset_, 0));
        break;
      case DIRECT:
      case DIRECT_ONE:
        state().write(counter_, 0, command);
        start(command);
        break;
      case START:
      case START_ONE:
        start(command);
        break;
      case SELECT_START:
        state().write(selected_start_, 0, command >> 23 & (STARTS - 1));
        break;
      default:
        break;  // no operation
    }
  }

  void start(macro_word command) {
    const macro_word counter = state().read(counter_, 0);
    state().write(starts_, counter % STARTS, (command & OPERATION) | counter);
  }

  State::Id table_address_ = 0;
  State::Id table_data_ = 0;
  std::array<State::Id, RAM_COUNT> rams_{};
  State::Id row_buffers_ = 0;
  State::Id start_window_ = 0;
  State::Id preset_ = 0;
  State::Id counter_ = 0;
  State::Id selected_start_ = 0;
  State::Id starts_ = 0;
};

}  // namespace

constinit const Blueprint SYSTEM_CONTROLLER{.build = [](const ChipSetup &setup) -> std::unique_ptr<ChipModel> {
                                              return std::make_unique<SystemController>(setup);
                                            },
                                            .rings = RINGS};

}  // namespace simulated
