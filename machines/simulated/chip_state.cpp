#include "machines/simulated/chip_state.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace simulated {

using scdb::Part;
using scdb::Reason;

Layout ring_layout(unsigned code, std::size_t bits) {
  return {{Part::Kind::ring, fmt::format("ring {}", code), code, bits, {}}, 1, MACRO_ALL, {}};
}

Layout register_layout(std::string_view name, std::size_t entries, std::string_view note) {
  return {{Part::Kind::registers, fmt::format("register {}", name), 0, entries, std::string{note}}, 1, MACRO_ALL, {}};
}

Layout array_layout(std::string_view name, std::size_t entries, std::size_t entry_words, std::string_view note) {
  return {
      {Part::Kind::array, fmt::format("array {}", name), 0, entries, std::string{note}}, entry_words, MACRO_ALL, {}};
}

Cells::Cells(Layout layout, macro_word seed)
    : layout_{std::move(layout)},
      size_{layout_.part.kind == Part::Kind::ring ? (layout_.part.entries + 31) / 32
                                                  : layout_.part.entries * layout_.entry_words},
      seed_{seed} {}

macro_word Cells::mask(std::size_t index) const {
  const std::size_t tail = layout_.part.entries % 32;
  if (layout_.part.kind == Part::Kind::ring && index + 1 == size_ && tail != 0)
    return layout_.mask & MACRO_ALL << (32 - tail);
  return layout_.mask;
}

macro_word Cells::initial(std::size_t index) const {
  if (layout_.contents != nullptr)
    return layout_.contents(seed_, index) & mask(index);
  return (layout_.reset ? *layout_.reset : mix(seed_, static_cast<macro_word>(index))) & mask(index);
}

void Cells::set(std::size_t index, macro_word word) {
  word &= mask(index);
  if (get(index) == word)
    return;
  store();
  words_[index] = word;
}

void Cells::store() {
  if (!words_.empty())
    return;
  words_.resize(size_);
  for (std::size_t i = 0; i < size_; ++i)
    words_[i] = initial(i);
}

void Cells::get(std::span<macro_word> words) const {
  if (words_.empty())
    for (std::size_t i = 0; i < words.size(); ++i)
      words[i] = initial(i);
  else
    std::copy_n(words_.begin(), words.size(), words.begin());
}

void Cells::set(std::span<const macro_word> words) {
  if (words.empty())
    return;
  if (words_.empty()) {
    std::size_t same = 0;
    while (same < words.size() && initial(same) == (words[same] & mask(same)))
      ++same;
    if (same == words.size())
      return;
    if (words.size() < size_)
      store();
    else
      words_.resize(size_);
  }
  std::copy(words.begin(), words.end(), words_.begin());
  if (layout_.mask != MACRO_ALL)
    for (std::size_t i = 0; i < words.size(); ++i)
      words_[i] &= layout_.mask;
  words_[words.size() - 1] &= mask(words.size() - 1);
}

macro_word Cells::fingerprint() const {
  macro_word hash = mix(seed_, layout_.part.name);
  hash = mix(hash, static_cast<macro_word>(layout_.part.entries));
  hash = mix(hash, static_cast<macro_word>(layout_.entry_words));
  hash = mix(hash, layout_.mask);
  return mix(hash, layout_.reset.value_or(seed_));
}

State::Id State::add(Layout layout) {
  const macro_word seed = mix(seed_, layout.part.name);
  cells_.emplace_back(std::move(layout), seed);
  return cells_.size() - 1;
}

std::optional<State::Id> State::find(std::string_view name) const {
  const auto at =
      std::ranges::find(cells_, name, [](const Cells &cells) -> std::string_view { return cells.layout().part.name; });
  if (at == cells_.end())
    return std::nullopt;
  return static_cast<Id>(at - cells_.begin());
}

macro_word State::read(Id id, std::size_t index) {
  macro_word word = cells_[id].get(index);
  for (ChipFault &fault : faults_)
    if (fault.touches(id, index)) {
      // A scan was counted when it began; the chip's own look at the ring is no access.
      const bool strikes = fault.place == PlaceKind::ring ? fault.active() : fault.strike();
      if (strikes)
        word = fault.distorted(index - fault.first_word(index), word);
    }
  return word;
}

void State::write(Id id, std::size_t index, macro_word word) {
  bool lost = false;
  for (ChipFault &fault : faults_)
    if (fault.place == PlaceKind::cells && fault.touches(id, index))
      lost |= fault.strike() && fault.kind == FaultKind::does_not_hold;
  if (!lost)
    cells_[id].set(index, word);
}

/// Whether no fault sits in these cells.
bool State::sound(Id id) const {
  return std::ranges::none_of(faults_, [id](const ChipFault &fault) { return fault.cells == id; });
}

void State::read(Id id, std::span<macro_word> words) {
  if (sound(id))
    return cells_[id].get(words);
  for (std::size_t i = 0; i < words.size(); ++i)
    words[i] = read(id, i);
}

void State::write(Id id, std::span<const macro_word> words) {
  if (sound(id))
    return cells_[id].set(words);
  for (std::size_t i = 0; i < words.size(); ++i)
    write(id, i, words[i]);
}

State::Meeting State::meet(PlaceKind place, macro_word code) {
  Meeting meeting;
  for (ChipFault &fault : faults_) {
    if (!fault.meets(place, code) || !fault.strike())
      continue;
    const Reason refusal = refusal_of(fault.kind);
    if (meeting.refusal == Reason::none)
      meeting.refusal = refusal;
    meeting.lost |= fault.kind == FaultKind::does_not_hold;
  }
  return meeting;
}

void State::distort(PlaceKind place, macro_word code, std::span<macro_word> words) const {
  for (const ChipFault &fault : faults_)
    if (fault.meets(place, code) && fault.active())
      for (std::size_t index = 0; index < words.size(); ++index)
        words[index] = fault.distorted(index, words[index]);
}

}  // namespace simulated
