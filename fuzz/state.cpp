#include <memory>
#include <optional>
#include <string>

#include "fuzz.hpp"
#include "scdb/session.hpp"

// Saved states of a machine.  One that is taken is saved as it was loaded; one that is refused changes nothing.

namespace {

constexpr std::string_view MACHINE = R"(
name = "fuzz"
boards = 1
[chips]
sc = 1
xb = 1
[[fault]]
chip = "xb:0.0"
place = "jtag 0x34"
kind = "dead"
after = 5
)";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  static const std::unique_ptr<scdb::Machine> pristine = scdb::open_machine_text(MACHINE, "fuzz.toml");
  static const std::string untouched = pristine->save_state().value();
  // What has no heading goes on behind the lines that name the machine, which no fuzzer finds.
  static const std::string beginning = untouched.substr(0, untouched.find("clock "));

  std::string text{reinterpret_cast<const char *>(bytes), size};
  if (!text.starts_with("simulated"))
    text.insert(0, beginning);
  const std::unique_ptr<scdb::Machine> machine = pristine->copy();
  try {
    machine->load_state(text);
  } catch (const scdb::MachineError &) {
    fuzz::require(machine->save_state() == untouched, "a state that is refused changes nothing");
    return 0;
  }
  const std::string saved = machine->save_state().value();
  machine->load_state(saved);
  fuzz::require(machine->save_state() == saved, "what was saved is what is loaded");
  return 0;
}
