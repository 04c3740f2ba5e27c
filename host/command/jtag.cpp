#include <fmt/format.h>

#include <memory>

#include "engine/text/words.hpp"
#include "host/command/commands.hpp"
#include "host/command/direct.hpp"
#include "scdb/access.hpp"
#include "scdb/machine.hpp"

namespace host {
namespace {

using scdb::JtagAccess;

struct JtagOptions {
  DirectOptions direct;
  std::string code;
  std::string word;
};

Answer access(ChipCall &call, JtagAccess kind, macro_word code, macro_word word) {
  const scdb::Unit unit = call.unit.words();
  const macro_word answer = lmcr_jtag(MACRO_ALL, MACRO_ALL, MACRO_ALL, static_cast<macro_word>(kind), code, word, 1,
                                      &_RETURN, call.record.data(), unit.type, unit.number, unit.mring);
  switch (kind) {
    case JtagAccess::read:
      return {{answer}, {}, {}};
    case JtagAccess::write:
      return {{}, {}, "written"};
    case JtagAccess::instruct:
      break;
  }
  return {{}, {}, "done"};
}

ExitStatus jtag(const JtagOptions &options, std::string_view name, JtagAccess kind) {
  const macro_word code = parse_in_range(options.code, "CODE", 0, scdb::LAST_CODE);
  const macro_word word = kind == JtagAccess::write ? parse_word(options.word, "WORD") : 0;
  std::string title = fmt::format("jtag {} 0x{:02X}", name, code);
  if (kind == JtagAccess::write)
    title += " " + hex(word);
  return access_chips(options.direct, title, [=](ChipCall &call) { return access(call, kind, code, word); });
}

void add(Command &group, Action &action, const std::string &name, JtagAccess kind, const std::string &help) {
  Command *const command = group.add_command(name, {.summary = help});
  const auto options = std::make_shared<JtagOptions>();
  command->add("CODE", options->code, Takes::number, "Instruction code, 0 to 0xFF")->required();
  if (kind == JtagAccess::write)
    command->add("WORD", options->word, Takes::word, "Word to write")->required();
  add_direct_options(*command, options->direct);
  command->callback([options, name, kind, &action] { action = [=] { return jtag(*options, name, kind); }; });
}

}  // namespace

void add_jtag(Command &program, Action &action) {
  Command *const group =
      program.add_command("jtag", {.summary = "Make JTAG instructions on chips: read, write, instruct",
                                   .examples = {"mcrhost jtag read 0x0F --unit cpu",
                                                "mcrhost jtag write 0x41 0x12345678 --unit cpu:0.1 --state bench.state",
                                                "mcrhost jtag instruct 0xD8 --unit cpu:0.0 --trace"},
                                   .endings = DIRECT_ENDINGS});
  group->require_subcommand(1);
  add(*group, action, "read", JtagAccess::read, "Issue an instruction and read the data register");
  add(*group, action, "write", JtagAccess::write, "Issue an instruction and write the data register");
  add(*group, action, "instruct", JtagAccess::instruct, "Issue an instruction without data");
}

}  // namespace host
