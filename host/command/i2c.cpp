#include <fmt/format.h>

#include <memory>
#include <utility>

#include "engine/text/words.hpp"
#include "host/command/commands.hpp"
#include "host/command/direct.hpp"
#include "scdb/access.hpp"
#include "scdb/machine.hpp"

namespace host {
namespace {

struct I2cOptions {
  DirectOptions direct;
  std::string device;
  std::vector<std::string> words;
  std::string port = "all";
  std::string mode = "2";
  std::string length;
};

/// One transfer, as the command line gives it.
struct I2cTransfer {
  scdb::Direction direction{};
  macro_word port = MACRO_ALL;
  macro_word device = 0;
  macro_word mode = scdb::I2C_REGISTER;
  macro_word bytes = BYTES_OF_A_WORD;
  std::vector<macro_word> words;
};

I2cTransfer transfer(const I2cOptions &options, scdb::Direction direction) {
  I2cTransfer transfer;
  transfer.direction = direction;
  transfer.device = parse_in_range(options.device, "DEVICE", 0, scdb::LAST_CODE);
  transfer.words = parse_words(options.words, "WORD");
  if (options.port != "all")
    transfer.port = parse_word(options.port, "--port");
  transfer.mode = parse_in_range(options.mode, "--mode", scdb::I2C_REGISTER, scdb::I2C_COMMAND);

  const bool writes = direction == scdb::Direction::write;
  const auto given = static_cast<macro_word>(transfer.words.size()) * BYTES_OF_A_WORD;
  if (given > scdb::I2C_MOST_BYTES)
    throw InputError(fmt::format("{} bytes are given; a transfer has 1 to {}", given, scdb::I2C_MOST_BYTES));
  if (writes)
    transfer.bytes = given;
  if (!options.length.empty())
    transfer.bytes = parse_in_range(options.length, "--length", 1, writes ? given : scdb::I2C_MOST_BYTES);
  transfer.words.resize((transfer.bytes + BYTES_OF_A_WORD - 1) / BYTES_OF_A_WORD);
  return transfer;
}

Answer access_device(ChipCall &call, I2cTransfer transfer) {
  const scdb::Unit unit = call.unit.words();
  lmcr_i2cctl(static_cast<macro_word>(transfer.direction), MACRO_ALL, MACRO_ALL, transfer.port, transfer.device,
              transfer.words.data(), transfer.bytes, transfer.mode, &_RETURN, call.record.data(), unit.type,
              unit.number, unit.mring);
  if (transfer.direction == scdb::Direction::write)
    return {{}, {}, "written"};
  return {std::move(transfer.words), {}, {}};
}

ExitStatus i2c(const I2cOptions &options, std::string_view name, scdb::Direction direction) {
  const I2cTransfer what = transfer(options, direction);
  std::string title = fmt::format("i2c {} 0x{:02X}", name, what.device);
  if (what.port != MACRO_ALL)
    title += fmt::format(" port 0x{:X}", what.port);
  title += fmt::format(" mode {}, {} byte{}", what.mode, what.bytes, what.bytes == 1 ? "" : "s");
  return access_chips(options.direct, title, [&](ChipCall &call) { return access_device(call, what); });
}

void add_transfer(Command &group, Action &action, const std::string &name, scdb::Direction direction,
                  const std::string &help) {
  Command *const command = group.add_command(name, {.summary = help});
  const auto options = std::make_shared<I2cOptions>();
  const bool writes = direction == scdb::Direction::write;
  command->add("DEVICE", options->device, Takes::number, "Device address or register number, 0 to 0xFF")->required();
  if (writes)
    command->add("WORD", options->words, Takes::word, "Words to write, four bytes each, the first the most significant")
        ->required();
  command->add("--port", options->port, Takes::number,
               "Port mask of the transfer, or all for the chip's own port (default)");
  command->add("--mode", options->mode, one_of({"2", "3"}),
               "Transfer mode: 2 = register access (default), 3 = command word");
  command->add("--length", options->length, Takes::bytes,
               writes ? "Bytes to write (default: four for each word)" : "Bytes to read, 1 to 4096 (default 4)");
  add_direct_options(*command, options->direct);
  command->callback([options, name, direction, &action] { action = [=] { return i2c(*options, name, direction); }; });
}

}  // namespace

void add_i2c(Command &program, Action &action) {
  Command *const group = program.add_command(
      "i2c", {.summary = "Make I2C transfers with the devices of chips: read, write",
              .examples = {"mcrhost i2c read 0x48 --unit sp", "mcrhost i2c read 4 --port 16 --unit mac:0.0",
                           "mcrhost i2c write 0x50 0x12345678 0x9A000000 --length 5 --unit sp:0.0 --state bench.state"},
              .endings = DIRECT_ENDINGS});
  group->require_subcommand(1);
  add_transfer(*group, action, "read", scdb::Direction::read, "Read from a device or register");
  add_transfer(*group, action, "write", scdb::Direction::write, "Write to a device or register");
}

}  // namespace host
