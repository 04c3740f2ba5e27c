#include "engine/run/dry_run.hpp"

#include <fmt/format.h>

#include <utility>

#include "engine/text/error.hpp"
#include "engine/unit/selection.hpp"
#include "scdb/record.hpp"

namespace engine {
namespace {

using scdb::Chip;

}  // namespace

/// The copy, which notes what is written to it.
class DryRun::Copy final : public scdb::Machine {
 public:
  Copy(DryRun &run, std::unique_ptr<Machine> machine) : run_{run}, machine_{std::move(machine)} {}

  [[nodiscard]] std::string name() const override { return machine_->name(); }
  [[nodiscard]] bool simulated() const override { return machine_->simulated(); }
  [[nodiscard]] std::vector<Chip> chips() const override { return machine_->chips(); }
  [[nodiscard]] bool has(Chip chip) const override { return machine_->has(chip); }
  [[nodiscard]] bool can_broadcast() const override { return machine_->can_broadcast(); }
  [[nodiscard]] std::vector<scdb::Part> parts(Chip chip) const override { return machine_->parts(chip); }

  scdb::Outcome jtag(std::span<const Chip> chips, scdb::JtagAccess access, unsigned code, macro_word &word) override {
    const macro_word given = word;
    const scdb::Outcome outcome = machine_->jtag(chips, access, code, word);
    if (access == scdb::JtagAccess::write)
      note(reached(chips, outcome), fmt::format("code 0x{:02X}", code), {given});
    if (access == scdb::JtagAccess::instruct)
      note(reached(chips, outcome), fmt::format("code 0x{:02X}, without data", code), {});
    return outcome;
  }

  [[nodiscard]] std::size_t ring_bits(Chip chip, unsigned ring) const override {
    return machine_->ring_bits(chip, ring);
  }
  scdb::Outcome read_ring(std::span<const Chip> chips, unsigned ring, std::span<macro_word> words) override {
    return machine_->read_ring(chips, ring, words);
  }
  scdb::Outcome write_ring(std::span<const Chip> chips, unsigned ring, std::span<const macro_word> words) override {
    const std::unique_ptr<Machine> earlier = machine_->copy();
    const scdb::Outcome outcome = machine_->write_ring(chips, ring, words);
    for (const Chip chip : reached(chips, outcome))
      note_ring(*earlier, chip, ring, words);
    return outcome;
  }

  scdb::Outcome i2c(std::span<const Chip> chips, scdb::Direction direction, macro_word port, unsigned device,
                    unsigned mode, std::span<macro_word> words, unsigned bytes) override {
    const scdb::Outcome outcome = machine_->i2c(chips, direction, port, device, mode, words, bytes);
    if (direction == scdb::Direction::write)
      note(reached(chips, outcome),
           fmt::format("device 0x{:02X}{} mode {}, {} bytes", device,
                       port == MACRO_ALL ? "" : fmt::format(" port 0x{:X}", port), mode, bytes),
           {words.begin(), words.end()});
    return outcome;
  }

  scdb::Outcome mbc(std::span<const Chip> chips, scdb::Direction direction, macro_word bank, macro_word address,
                    unsigned bytes, macro_word &word) override {
    const scdb::Outcome outcome = machine_->mbc(chips, direction, bank, address, bytes, word);
    if (direction == scdb::Direction::write)
      note(reached(chips, outcome), fmt::format("bank {} address 0x{:X}, {} bytes", bank, address, bytes), {word});
    return outcome;
  }

  void wait(macro_word microseconds) override { machine_->wait(microseconds); }
  [[nodiscard]] bool offers(macro_word number) const override { return machine_->offers(number); }

  /// What a macro of the machine's own writes nobody outside sees; that it is run is all there is to tell.
  scdb::Outcome nested(const scdb::NestedCall &call) override {
    run_.writes_.push_back({describe(call.unit),
                            scdb::Primitive::maccall,
                            fmt::format("the machine's own macro {:04X}, rw 0x{:X}", call.number, call.rw),
                            {},
                            {}});
    return machine_->nested(call);
  }

  [[nodiscard]] std::unique_ptr<Machine> copy() const override { return machine_->copy(); }
  [[nodiscard]] std::optional<std::string> save_state() const override { return machine_->save_state(); }
  void load_state(std::string_view text) override { machine_->load_state(text); }

 private:
  /// The chips that an access came to: those before the one that failed.
  [[nodiscard]] static std::span<const Chip> reached(std::span<const Chip> chips, const scdb::Outcome &outcome) {
    if (outcome.ok())
      return chips;
    std::size_t count = 0;
    while (outcome.placed && count < chips.size() && chips[count] != outcome.place)
      ++count;
    return chips.first(count);
  }

  void note(std::span<const Chip> chips, const std::string &what, const std::vector<macro_word> &words) {
    for (const Chip chip : chips)
      run_.writes_.push_back({scdb::to_string(chip), run_.call_.primitive, what, {}, words});
  }

  /// The words of a ring that change; one line also where none does, for the ring is written all the same.
  void note_ring(Machine &earlier, Chip chip, unsigned ring, std::span<const macro_word> words) {
    std::vector<macro_word> old(words.size());
    const bool known = earlier.read_ring({&chip, 1}, ring, old).ok();
    const std::size_t tail = earlier.ring_bits(chip, ring) % 32;
    bool changed = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
      const bool is_tail = tail != 0 && i + 1 == words.size();
      const macro_word word = is_tail ? words[i] & MACRO_ALL << (32 - tail) : words[i];
      if (known && word == old[i])
        continue;
      changed = true;
      run_.writes_.push_back({scdb::to_string(chip),
                              run_.call_.primitive,
                              fmt::format("ring 0x{:02X} word {}", ring, i),
                              known ? std::optional{old[i]} : std::nullopt,
                              {word}});
    }
    if (!changed)
      note({&chip, 1}, fmt::format("ring 0x{:02X}, as it is", ring), {});
  }

  DryRun &run_;
  std::unique_ptr<Machine> machine_;
};

DryRun::DryRun() {
  std::unique_ptr<scdb::Machine> copy = scdb::machine().copy();
  if (!copy)
    throw InputError{Subject::dry_run,
                     fmt::format("{} cannot be copied, and a dry run works on a copy", scdb::machine().name())};
  machine_.emplace(std::make_unique<Copy>(*this, std::move(copy)));
  observing_.emplace(call_);
}

DryRun::~DryRun() = default;

}  // namespace engine
