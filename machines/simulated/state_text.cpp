#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "machines/simulated/server.hpp"

/// A machine's state as text: what differs from power-on, a line for each stretch of changed words.
///
///     simulated machine state 1
///     machine 5C0FFEE1 two-board server
///     clock 1000
///     chip cpu:0.0
///     fault 0 17                          accesses that the chip's first fault has counted
///     cells ring 60
///     12 DEADBEEF 00000001                words from number 12 on
///     end
namespace simulated {

using scdb::MachineError;

namespace {

constexpr std::string_view HEADING = "simulated machine state 1";
constexpr std::size_t WORDS_OF_A_LINE = 8;

void write_cells(std::string &text, const Cells &cells) {
  if (cells.untouched())
    return;
  bool named = false;
  for (std::size_t first = 0; first < cells.size(); ++first) {
    if (cells.get(first) == cells.initial(first))
      continue;
    if (!named)
      text += fmt::format("cells {}\n{}", cells.layout().part.name, first);
    else
      text += fmt::format("{}", first);
    named = true;
    const std::size_t end = std::min(first + WORDS_OF_A_LINE, cells.size());
    for (; first < end && cells.get(first) != cells.initial(first); ++first)
      text += fmt::format(" {:08X}", cells.get(first));
    text += '\n';
    --first;
  }
}

}  // namespace

/// Reads the text line by line into a machine that is as it was at power-on.
class StateText {
 public:
  StateText(std::string_view text, Server &into) : rest_{text}, into_{into} {}

  void read() {
    next();
    if (line_ != HEADING)
      fail("this is no saved state of a simulated machine");
    next();
    const std::string_view machine = after("machine ");
    const std::string expected = fmt::format("{:08X} {}", into_.fingerprint(), into_.name_);
    if (machine != expected)
      fail(fmt::format("the state is of another machine: '{}', not '{}'", machine, expected));
    next();
    into_.now_ = number<std::uint64_t>(after("clock "));
    for (next(); line_ != "end"; next())
      read_item();
    if (!rest_.empty())
      fail("something follows the end");
  }

 private:
  [[noreturn]] void fail(const std::string &message) const {
    throw MachineError(fmt::format("saved state, line {}: {}", number_, message));
  }

  void next() {
    ++number_;
    const std::size_t end = rest_.find('\n');
    if (end == std::string_view::npos)
      fail("the text ends too early");
    line_ = rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
  }

  /// What follows the word that the line must start with.
  [[nodiscard]] std::string_view after(std::string_view start) const {
    if (!line_.starts_with(start))
      fail(fmt::format("'{}' is expected", start));
    return line_.substr(start.size());
  }

  template <class Number>
  [[nodiscard]] Number number(std::string_view text, int base = 10) const {
    Number result = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result, base);
    if (error != std::errc{} || end != text.data() + text.size())
      fail(fmt::format("'{}' is no number", text));
    return result;
  }

  void read_item() {
    if (line_.starts_with("chip ")) {
      chip_ = find_chip(after("chip "));
      cells_ = nullptr;
    } else if (chip_ == nullptr) {
      fail("a chip is expected");
    } else if (line_.starts_with("fault ")) {
      read_fault(after("fault "));
    } else if (line_.starts_with("cells ")) {
      const std::optional<State::Id> id = chip_->state().find(after("cells "));
      if (!id)
        fail("the chip has no such cells");
      cells_ = &chip_->state().cells()[*id];
    } else if (cells_ == nullptr) {
      fail("cells are expected");
    } else {
      read_words();
    }
  }

  [[nodiscard]] ChipModel *find_chip(std::string_view name) const {
    for (const std::unique_ptr<ChipModel> &model : into_.slots_)
      if (model && to_string(model->where()) == name)
        return model.get();
    fail("the machine has no such chip");
  }

  void read_fault(std::string_view text) {
    const std::size_t space = text.find(' ');
    const auto index = number<std::size_t>(text.substr(0, space));
    if (space == std::string_view::npos || index >= chip_->state().faults().size())
      fail("the chip has no such fault");
    chip_->state().faults()[index].accesses = number<std::uint64_t>(text.substr(space + 1));
  }

  void read_words() {
    std::size_t space = line_.find(' ');
    auto index = number<std::size_t>(line_.substr(0, space));
    if (space == std::string_view::npos)
      fail("words are expected");
    while (space != std::string_view::npos) {
      const std::size_t end = line_.find(' ', space + 1);
      const auto word = number<macro_word>(line_.substr(space + 1, end - space - 1), 16);
      if (index >= cells_->size())
        fail(fmt::format("'{}' has {} words", cells_->layout().part.name, cells_->size()));
      cells_->set(index, word);
      if (cells_->get(index) != word)
        fail(fmt::format("'{}' cannot hold {:08X}", cells_->layout().part.name, word));
      ++index;
      space = end;
    }
  }

  std::string_view rest_;
  std::string_view line_;
  unsigned number_ = 0;
  Server &into_;
  ChipModel *chip_ = nullptr;
  Cells *cells_ = nullptr;
};

macro_word Server::fingerprint() const {
  macro_word hash = 0;
  for (const std::unique_ptr<ChipModel> &model : slots_) {
    if (!model)
      continue;
    hash = mix(hash, to_string(model->where()));
    for (const Cells &cells : model->state().cells())
      hash = mix(hash, cells.fingerprint());
    for (const ChipFault &fault : model->state().faults()) {
      hash = mix(hash, static_cast<macro_word>(fault.kind));
      hash = mix(hash, static_cast<macro_word>(fault.place));
      hash = mix(hash, fault.code);
      hash = mix(hash, fault.seed);
    }
  }
  return hash;
}

std::optional<std::string> Server::save_state() const {
  std::string text = fmt::format("{}\nmachine {:08X} {}\nclock {}\n", HEADING, fingerprint(), name_, now_);
  for (const std::unique_ptr<ChipModel> &model : slots_) {
    if (!model)
      continue;
    std::string changes;
    const std::vector<ChipFault> &faults = model->state().faults();
    for (std::size_t i = 0; i < faults.size(); ++i)
      if (faults[i].accesses != 0)
        changes += fmt::format("fault {} {}\n", i, faults[i].accesses);
    for (const Cells &cells : model->state().cells())
      write_cells(changes, cells);
    if (!changes.empty())
      text += fmt::format("chip {}\n{}", to_string(model->where()), changes);
  }
  return text + "end\n";
}

void Server::load_state(std::string_view text) {
  Server fresh{*this};
  for (const std::unique_ptr<ChipModel> &model : fresh.slots_)
    if (model) {
      for (Cells &cells : model->state().cells())
        cells.reset();
      for (ChipFault &fault : model->state().faults())
        fault.accesses = 0;
    }
  StateText{text, fresh}.read();
  fresh.set_time(fresh.now_);
  slots_ = std::move(fresh.slots_);
  now_ = fresh.now_;
}

std::unique_ptr<scdb::Machine> Server::copy() const {
  return std::unique_ptr<Server>{new Server{*this}};
}

}  // namespace simulated
