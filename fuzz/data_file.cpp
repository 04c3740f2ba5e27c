#include <string>
#include <vector>

#include "engine/text/error.hpp"
#include "engine/text/word_file.hpp"
#include "engine/unit/ring_file.hpp"
#include "engine/unit/selection.hpp"
#include "fuzz.hpp"

// Files of words: what --data-in and --expect read, and what 'ring restore' does; and units, as people type them.

namespace {

void read(char kind, std::string_view content) {
  const engine::RingShape shape{scdb::ChipKind::cpu, 0x3C, 100};
  switch (kind) {
    case 'b': {
      const std::vector<macro_word> words = engine::words_of_bytes(content, "fuzz");
      fuzz::require(engine::bytes_of(words) == content, "words are written as they were read");
      return;
    }
    case 't': {
      const std::vector<macro_word> words = engine::words_of_text(content, "fuzz");
      fuzz::require(engine::words_of_text(engine::text_of(words), "fuzz") == words,
                    "words are read as they were written");
      return;
    }
    case 'r':
    case 's':
      fuzz::require(
          engine::ring_words(content, kind == 'r' ? "fuzz" : "fuzz.txt", shape).size() == engine::words_of(shape),
          "a ring file has the ring's words");
      return;
    case 'u': {
      static const std::vector<scdb::Chip> chips{
          {scdb::ChipKind::cpu, 0, 0}, {scdb::ChipKind::cpu, 15, 3}, {scdb::ChipKind::xb, 2, 1}};
      const engine::Selection selection = engine::parse_selection(content, chips);
      fuzz::require(!engine::single_chips(selection, chips).empty(), "a unit that is taken has a chip");
      fuzz::require(engine::parse_selection(engine::describe(selection.words()), chips).mring == selection.mring,
                    "a unit is read as it was described");
      return;
    }
    default:
      return;
  }
}

}  // namespace

/// The first byte says what is read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  if (size == 0)
    return 0;
  const std::string_view text{reinterpret_cast<const char *>(bytes), size};
  try {
    read(text.front(), text.substr(1));
  } catch (const engine::InputError &) {
    // Says what is wrong.
  }
  return 0;
}
