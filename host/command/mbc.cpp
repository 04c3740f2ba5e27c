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

struct MbcOptions {
  DirectOptions direct;
  std::string address;
  std::vector<std::string> words;
  std::string bank = "0";
  std::string length = "4";
  std::string count = "1";
};

/// One transfer, as the command line gives it.
struct MbcTransfer {
  scdb::Direction direction{};
  macro_word bank = 0;
  macro_word address = 0;
  macro_word bytes = 4;  ///< of a register
  std::vector<macro_word> words;
};

macro_word register_bytes(const MbcOptions &options) {
  const macro_word bytes = parse_word(options.length, "--length");
  if (!scdb::is_mbc_length(bytes))
    throw InputError(fmt::format("--length: {} is no length of a register; give 1, 2 or 4 bytes", options.length));
  return bytes;
}

MbcTransfer transfer(const MbcOptions &options, scdb::Direction direction) {
  MbcTransfer transfer;
  transfer.direction = direction;
  transfer.bank = parse_word(options.bank, "--bank");
  transfer.address = parse_word(options.address, "ADDRESS");
  transfer.bytes = register_bytes(options);
  if (direction == scdb::Direction::read) {
    transfer.words.resize(parse_in_range(options.count, "--count", 1, scdb::MBC_MOST_REGISTERS));
    return transfer;
  }
  const macro_word most = MACRO_ALL >> (32 - 8 * transfer.bytes);
  for (const std::string &word : options.words)
    transfer.words.push_back(parse_in_range(word, "WORD", 0, most));
  if (transfer.words.size() > scdb::MBC_MOST_REGISTERS)
    throw InputError(
        fmt::format("{} words are given; a transfer has 1 to {}", transfer.words.size(), scdb::MBC_MOST_REGISTERS));
  return transfer;
}

Answer access_bank(ChipCall &call, MbcTransfer transfer) {
  const scdb::Unit unit = call.unit.words();
  lmcr_mbcreg(static_cast<macro_word>(transfer.direction), MACRO_ALL, MACRO_ALL, transfer.bank, transfer.address,
              transfer.bytes, transfer.words.data(), static_cast<macro_word>(transfer.words.size()), &_RETURN,
              call.record.data(), unit.type, unit.number, unit.mring);
  if (transfer.direction == scdb::Direction::write)
    return {{}, {}, "written"};
  return {std::move(transfer.words), {}, {}};
}

ExitStatus mbc(const MbcOptions &options, std::string_view name, scdb::Direction direction) {
  const MbcTransfer what = transfer(options, direction);
  const std::string title =
      fmt::format("mbc {} bank {} address 0x{:X}, {} register{} of {} byte{}", name, what.bank, what.address,
                  what.words.size(), what.words.size() == 1 ? "" : "s", what.bytes, what.bytes == 1 ? "" : "s");
  return access_chips(options.direct, title, [&](ChipCall &call) { return access_bank(call, what); });
}

void add_direction(Command &group, Action &action, const std::string &name, scdb::Direction direction,
                   const std::string &help) {
  Command *const command = group.add_command(name, {.summary = help});
  const auto options = std::make_shared<MbcOptions>();
  command->add("ADDRESS", options->address, Takes::number, "Address of the first register")->required();
  if (direction == scdb::Direction::write)
    command
        ->add("WORD", options->words, Takes::word, "What to write: a word for each register, to consecutive addresses")
        ->required();
  else
    command->add("--count", options->count, Takes::number, "Registers to read, 1 to 1024 (default 1)");
  command->add("--bank", options->bank, Takes::number, "Register bank, 0 being the controller's own (default)");
  command->add("--length", options->length, one_of({"1", "2", "4"}), "Bytes of a register: 1, 2 or 4 (default)");
  add_direct_options(*command, options->direct);
  command->callback([options, name, direction, &action] { action = [=] { return mbc(*options, name, direction); }; });
}

}  // namespace

void add_mbc(Command &program, Action &action) {
  Command *const group = program.add_command(
      "mbc", {.summary = "Access registers through the maintenance bus controller: read, write",
              .examples = {"mcrhost mbc read 0x10000 --unit sp",
                           "mcrhost mbc read 0x30000 --bank 2 --length 1 --count 16 --unit sp:0.0",
                           "mcrhost mbc write 0x10010 0x12345678 --unit sp:0.0 --state bench.state"},
              .endings = DIRECT_ENDINGS});
  group->require_subcommand(1);
  add_direction(*group, action, "read", scdb::Direction::read, "Read registers");
  add_direction(*group, action, "write", scdb::Direction::write, "Write registers");
}

}  // namespace host
