#include "machines/simulated/server.hpp"

#include <algorithm>
#include <functional>

#include <fmt/format.h>

#include "machines/simulated/embedded_machines.hpp"

namespace simulated {

using scdb::Chip;
using scdb::MachineError;
using scdb::Outcome;
using scdb::Reason;

Server::Server(const Description &description) : name_{description.name}, broadcast_{description.broadcast} {
  add_chips(description);
  for (const FaultLine &line : description.faults)
    add_fault(line);
}

std::size_t Server::slot(Chip chip) {
  return (static_cast<std::size_t>(chip.kind) * scdb::BOARDS + chip.board) * CHIPS_OF_A_KIND + chip.number;
}

void Server::add_chips(const Description &description) {
  for (const scdb::ChipKindInfo &kind : scdb::CHIP_KINDS) {
    static_assert(std::ranges::all_of(scdb::CHIP_KINDS, [](const auto &row) { return row.limit <= CHIPS_OF_A_KIND; }));
    const Blueprint &plan = blueprint(kind.kind);
    ChipSetup common;
    for (const RingRange &range : plan.rings)
      for (unsigned ring = range.first; ring <= range.last; ++ring)
        common.rings[ring] = range.bits;
    for (const auto &[ring, bits] : description.rings[static_cast<std::size_t>(kind.kind)])
      common.rings[ring] = bits;
    std::erase_if(common.rings, [](const auto &row) { return row.second == 0; });
    for (const ChipParameter &parameter : plan.parameters)
      common.parameters.emplace(parameter.name, parameter.usual);

    for (unsigned board = 0; board < scdb::BOARDS; ++board)
      for (unsigned number = 0; number < description.chips_on(board, kind.kind); ++number) {
        ChipSetup setup = common;
        setup.chip = {kind.kind, static_cast<std::uint8_t>(board), static_cast<std::uint8_t>(number)};
        setup.seed = description.seed;
        for (const Setting &setting : description.settings) {
          if (!setting.chips.matches(setup.chip))
            continue;
          if (setting.name == "seed")
            setup.seed = static_cast<macro_word>(setting.value);
          else
            setup.parameters.insert_or_assign(setting.name, setting.value);
        }
        setup.seed = mix(setup.seed, to_string(setup.chip));
        slots_[slot(setup.chip)] = plan.build(setup);
      }
  }
}

namespace {

/// Which bits a place has, as a fault of it names them.
std::string extent(std::size_t bits, const FaultLine &line) {
  if (line.bits.text == "bit")
    return fmt::format("the bits 0 to {}", bits - 1);
  if (bits < 32)
    return fmt::format("{} bits: 31 to {}", bits, 32 - bits);
  return bits == 32 ? "one word" : fmt::format("the words 0 to {}", (bits - 1) / 32);
}

}  // namespace

void Server::add_fault(const FaultLine &line) {
  bool any = false;
  for (const std::unique_ptr<ChipModel> &model : slots_) {
    if (!model || !line.chips.matches(model->where()))
      continue;
    any = true;
    State &state = model->state();
    ChipFault fault = line.fault;
    if (line.where == PlaceKind::cells || line.where == PlaceKind::ring) {
      fault.cells = state.find(line.where == PlaceKind::cells ? line.place.text : fmt::format("ring {}", line.code));
      if (line.where == PlaceKind::cells && fault.cells)
        fault.code = static_cast<macro_word>(*fault.cells);
    }
    const bool missing_cells = line.where == PlaceKind::cells && !fault.cells;
    const std::size_t bits = missing_cells ? 0 : model->bits_at(line.where, fault.code);
    if (bits == 0)
      throw MachineError(
          fmt::format("{}: {} has no place \"{}\"", line.place.where, to_string(model->where()), line.place.text));
    if (fault.cells) {
      const Cells &cells = state.cells()[*fault.cells];
      fault.entry_words = line.where == PlaceKind::ring ? cells.size() : cells.layout().entry_words;
      const std::size_t entries = cells.layout().part.entries;
      if (line.entry && *line.entry >= entries)
        throw MachineError(fmt::format("{}: \"{}\" of {} has the entries 0 to {}", line.entry_key.where,
                                       line.place.text, to_string(model->where()), entries - 1));
      if (line.entry)
        fault.entry = *line.entry;
    }
    for (const std::uint32_t position : line.positions) {
      if (position >= bits)
        throw MachineError(fmt::format("{}: \"{}\" of {} has {}", line.bits.where, line.place.text,
                                       to_string(model->where()), extent(bits, line)));
      fault.bits.push_back({position / 32, macro_word{0x80000000} >> (position % 32)});
    }
    fault.seed = mix(mix(fault.seed, to_string(model->where())), static_cast<macro_word>(state.faults().size()));
    state.add_fault(std::move(fault));
  }
  if (!any)
    throw MachineError(fmt::format("{}: the machine has no chip {}", line.chip.where, line.chip.text));
}

std::vector<Chip> Server::chips() const {
  std::vector<Chip> result;
  for (const std::unique_ptr<ChipModel> &model : slots_)
    if (model)
      result.push_back(model->where());
  return result;
}

bool Server::has(Chip chip) const {
  return chip.board < scdb::BOARDS && chip.number < CHIPS_OF_A_KIND && slots_[slot(chip)] != nullptr;
}

std::vector<scdb::Part> Server::parts(Chip chip) const {
  std::vector<scdb::Part> result;
  if (has(chip))
    for (const Cells &cells : slots_[slot(chip)]->state().cells())
      result.push_back(cells.layout().part);
  return result;
}

Outcome Server::jtag(std::span<const Chip> chips, scdb::JtagAccess access, unsigned code, macro_word &word) {
  if (chips.size() == 1)
    return slots_[slot(chips[0])]->jtag(access, code, word);
  macro_word answers = 0;
  const Outcome outcome = each(chips, [&](ChipModel &model) {
    macro_word one = word;
    const Outcome result = model.jtag(access, code, one);
    answers |= one;
    return result;
  });
  if (outcome.ok() && access == scdb::JtagAccess::read)
    word = answers;
  return outcome;
}

std::size_t Server::ring_bits(Chip chip, unsigned ring) const {
  return has(chip) ? slots_[slot(chip)]->ring_bits(ring) : 0;
}

Outcome Server::read_ring(std::span<const Chip> chips, unsigned ring, std::span<macro_word> words) {
  if (chips.size() == 1)
    return slots_[slot(chips[0])]->read_ring(ring, words);
  std::vector<macro_word> answers(words.size());
  std::vector<macro_word> one(words.size());
  const Outcome outcome = each(chips, [&](ChipModel &model) {
    const Outcome result = model.read_ring(ring, one);
    std::ranges::transform(answers, one, answers.begin(), std::bit_or{});
    return result;
  });
  if (outcome.ok())
    std::ranges::copy(answers, words.begin());
  return outcome;
}

Outcome Server::write_ring(std::span<const Chip> chips, unsigned ring, std::span<const macro_word> words) {
  return each(chips, [&](ChipModel &model) { return model.write_ring(ring, words); });
}

Outcome Server::i2c(std::span<const Chip> chips, scdb::Direction direction, macro_word port, unsigned device,
                    unsigned mode, std::span<macro_word> words, unsigned bytes) {
  std::vector<macro_word> answers(words.size());
  std::vector<macro_word> one(words.begin(), words.end());
  const Outcome outcome = each(chips, [&](ChipModel &model) {
    const Outcome result = model.i2c(direction, port, device, mode, one, bytes);
    std::ranges::transform(answers, one, answers.begin(), std::bit_or{});
    return result;
  });
  if (outcome.ok() && direction == scdb::Direction::read)
    std::ranges::copy(answers, words.begin());
  return outcome;
}

Outcome Server::mbc(std::span<const Chip> chips, scdb::Direction direction, macro_word bank, macro_word address,
                    unsigned bytes, macro_word &word) {
  macro_word answers = 0;
  const Outcome outcome = each(chips, [&](ChipModel &model) {
    macro_word one = word;
    const Outcome result = model.mbc(direction, bank, address, bytes, one);
    answers |= one;
    return result;
  });
  if (outcome.ok() && direction == scdb::Direction::read)
    word = answers;
  return outcome;
}

void Server::wait(macro_word microseconds) {
  set_time(now_ + microseconds);
}

void Server::set_time(std::uint64_t now) {
  now_ = now;
  for (const std::unique_ptr<ChipModel> &model : slots_)
    if (model)
      model->set_time(now);
}

bool Server::offers(macro_word number) const {
  return std::ranges::any_of(slots_, [number](const std::unique_ptr<ChipModel> &model) {
    return model && model->bits_at(PlaceKind::nested, number) != 0;
  });
}

Outcome Server::nested(const scdb::NestedCall &call) {
  if (!offers(call.number))
    return Outcome::failure(Reason::no_macro);
  const std::optional<scdb::ChipKind> kind = scdb::kind_of(call.unit.type);
  if (!kind)
    return Outcome::failure(Reason::unknown_unit_type);
  if (call.unit.mring == nullptr)
    return Outcome::failure(Reason::null_pointer);

  // Masks of whole groups also name boards and chips that this machine lacks: those that exist are meant.
  const Blueprint &plan = blueprint(*kind);
  bool any = plan.prepare_nested != nullptr && plan.prepare_nested(call);
  for (const std::unique_ptr<ChipModel> &model : slots_) {
    if (!model || model->where().kind != *kind || model->bits_at(PlaceKind::nested, call.number) == 0)
      continue;
    const Chip chip = model->where();
    if ((call.unit.number >> chip.board & 1) == 0
        || (call.unit.mring[chip.board] & scdb::chip_bit(chip.kind, chip.number)) == 0)
      continue;
    any = true;
    if (const Outcome outcome = model->nested(call); !outcome.ok())
      return outcome;
  }
  return any ? Outcome::success() : Outcome::failure(Reason::no_chip);
}

Server::Slots Server::copy_slots() const {
  Slots result;
  std::ranges::transform(slots_, result.begin(), [](const std::unique_ptr<ChipModel> &model) {
    return model ? model->clone() : std::unique_ptr<ChipModel>{};
  });
  return result;
}

}  // namespace simulated

namespace scdb {

std::unique_ptr<Machine> open_machine(const std::string &description) {
  return std::make_unique<simulated::Server>(simulated::find_description(description));
}

std::vector<std::string> built_in_machines() {
  std::vector<std::string> names;
  for (const toml_file::Embedded &file : simulated::embedded_machines())
    names.emplace_back(file.name);
  std::ranges::sort(names);
  return names;
}

std::unique_ptr<Machine> open_machine_text(std::string_view text, const std::string &origin) {
  return std::make_unique<simulated::Server>(simulated::read_description(text, origin));
}

}  // namespace scdb
