#pragma once

#include <bit>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "machines/simulated/fault.hpp"
#include "scdb/machine.hpp"

/// The simulated server's whole memory.  Everything that a chip remembers lies in named cells, so that copies, saved
/// states and faults are the same for registers, rings and memories of every kind of chip.
namespace simulated {

/// A well-mixed word from any word; equal words give equal results on every host.
[[nodiscard]] constexpr macro_word scramble(macro_word word) {
  word = (word ^ word >> 16) * 0x7FEB352D;
  word = (word ^ word >> 15) * 0x846CA68B;
  return word ^ word >> 16;
}

/// `hash` continued by one more word or text.
[[nodiscard]] constexpr macro_word mix(macro_word hash, macro_word word) {
  return scramble(std::rotl(hash, 5) + 0x9E3779B9 + word);
}
[[nodiscard]] constexpr macro_word mix(macro_word hash, std::string_view text) {
  for (const char letter : text)
    hash = mix(hash, static_cast<unsigned char>(letter));
  return hash;
}

/// What cells of one name are.
struct Layout {
  scdb::Part part;                  ///< its name is unique in the chip
  std::size_t entry_words = 1;      ///< words of an entry; a ring is counted in bits and takes the words they need
  macro_word mask = MACRO_ALL;      ///< bits that each word has
  std::optional<macro_word> reset;  ///< every word's value at power-on; nothing = contents from the seed
  /// Where contents from the seed follow a rule of their own: the word of an index.
  macro_word (*contents)(macro_word seed, std::size_t index) = nullptr;
};

[[nodiscard]] Layout ring_layout(unsigned code, std::size_t bits);
[[nodiscard]] Layout register_layout(std::string_view name, std::size_t entries, std::string_view note);
[[nodiscard]] Layout array_layout(std::string_view name, std::size_t entries, std::size_t entry_words,
                                  std::string_view note);

/// The words behind one name.  What was never changed is not stored but computed, so that large memories cost nothing
/// until they are written.
class Cells {
 public:
  Cells(Layout layout, macro_word seed);

  [[nodiscard]] const Layout &layout() const { return layout_; }
  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] macro_word get(std::size_t index) const { return words_.empty() ? initial(index) : words_[index]; }
  [[nodiscard]] macro_word initial(std::size_t index) const;
  void set(std::size_t index, macro_word word);
  /// The same for all words from the first on, as many as there are in `words`.
  void get(std::span<macro_word> words) const;
  void set(std::span<const macro_word> words);
  /// Back to the power-on contents.
  void reset() { words_.clear(); }
  /// Whether no word was ever changed.
  [[nodiscard]] bool untouched() const { return words_.empty(); }
  /// Differs between cells that differ in shape or in power-on contents.
  [[nodiscard]] macro_word fingerprint() const;

 private:
  [[nodiscard]] macro_word mask(std::size_t index) const;
  /// Stores what was only computed so far.
  void store();

  Layout layout_;
  std::size_t size_;
  macro_word seed_;
  std::vector<macro_word> words_;
};

/// All cells of a chip, and the faults of the chip.
class State {
 public:
  using Id = std::size_t;

  explicit State(macro_word seed) : seed_{seed} {}

  Id add(Layout layout);
  [[nodiscard]] std::optional<Id> find(std::string_view name) const;
  [[nodiscard]] std::vector<Cells> &cells() { return cells_; }
  [[nodiscard]] const std::vector<Cells> &cells() const { return cells_; }

  /// As the chip itself sees a word: with the faults of these cells.
  [[nodiscard]] macro_word read(Id id, std::size_t index);
  void write(Id id, std::size_t index, macro_word word);
  /// The same for all words from the first on, as many as there are in `words`.
  void read(Id id, std::span<macro_word> words);
  void write(Id id, std::span<const macro_word> words);
  void reset(Id id) { cells_[id].reset(); }

  void add_fault(ChipFault fault) { faults_.push_back(std::move(fault)); }
  [[nodiscard]] std::vector<ChipFault> &faults() { return faults_; }
  [[nodiscard]] const std::vector<ChipFault> &faults() const { return faults_; }

  /// What the faults do to an access from outside that begins now.
  struct Meeting {
    scdb::Reason refusal = scdb::Reason::none;  ///< why nobody answers
    bool lost = false;                          ///< a write has no effect
  };
  [[nodiscard]] Meeting meet(PlaceKind place, macro_word code);
  /// Spoils the words that the access which met the faults has read.
  void distort(PlaceKind place, macro_word code, std::span<macro_word> words) const;

 private:
  [[nodiscard]] bool sound(Id id) const;

  macro_word seed_;
  std::vector<Cells> cells_;
  std::vector<ChipFault> faults_;
};

}  // namespace simulated
