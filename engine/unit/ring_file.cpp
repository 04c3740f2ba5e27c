#include "engine/unit/ring_file.hpp"

#include <fmt/format.h>

#include <array>
#include <optional>

#include "engine/text/error.hpp"
#include "engine/text/file.hpp"
#include "engine/text/word_file.hpp"

namespace engine {
namespace {

constexpr std::string_view WHAT = "ring file";
constexpr macro_word RING_FILE = 0x52494E47;  // "RING"
constexpr macro_word VERSION = 1;
constexpr std::size_t HEADER_WORDS = 5;

struct RingFile {
  std::string shape;  ///< as describe() tells it
  std::vector<macro_word> words;
};

std::string origin_of(const std::string &path) {
  return fmt::format("{} '{}'", WHAT, path);
}

[[noreturn]] void refuse_header(const std::string &path) {
  throw InputError(fmt::format("{}: it does not begin as the files do that 'ring save' writes", origin_of(path)));
}

RingFile parse_text(std::string_view text, const std::string &path) {
  const std::size_t end = text.find('\n');
  std::string_view shape = text.substr(0, end);
  if (shape.ends_with('\r'))
    shape.remove_suffix(1);
  if (end == std::string_view::npos || !shape.starts_with("ring 0x"))
    refuse_header(path);
  return {std::string{shape}, words_of_text(text.substr(end + 1), fmt::format("{}: {}", WHAT, path), 2)};
}

RingFile parse_bytes(std::string_view bytes, const std::string &path) {
  if (!bytes.starts_with(bytes_of(std::array{RING_FILE})))
    refuse_header(path);
  std::vector<macro_word> words = words_of_bytes(bytes, origin_of(path));
  if (words.size() < HEADER_WORDS || words[1] != VERSION)
    refuse_header(path);
  const std::optional<scdb::ChipKind> kind = scdb::kind_of(words[2]);
  if (!kind)
    refuse_header(path);
  RingFile file{describe(RingShape{*kind, words[3], words[4]}), {}};
  file.words.assign(words.begin() + HEADER_WORDS, words.end());
  return file;
}

}  // namespace

std::string describe(const RingShape &shape) {
  return fmt::format("ring 0x{:02X} of {}, {} bits", shape.ring, scdb::info(shape.kind).name, shape.bits);
}

void write_ring_file(const std::string &path, const RingShape &shape, std::span<const macro_word> words) {
  const std::array<macro_word, HEADER_WORDS> header{RING_FILE, VERSION, scdb::unit_type_of(shape.kind), shape.ring,
                                                    static_cast<macro_word>(shape.bits)};
  write_file(path, is_text_file(path) ? describe(shape) + "\n" + text_of(words) : bytes_of(header) + bytes_of(words),
             WHAT);
}

std::vector<macro_word> read_ring_file(const std::string &path, const RingShape &shape) {
  return ring_words(read_file(path, WHAT), path, shape);
}

std::vector<macro_word> ring_words(std::string_view content, const std::string &path, const RingShape &shape) {
  RingFile file = is_text_file(path) ? parse_text(content, path) : parse_bytes(content, path);
  if (file.shape != describe(shape))
    throw InputError(fmt::format("{}: it keeps {}, not {}", origin_of(path), file.shape, describe(shape)));
  if (file.words.size() != words_of(shape))
    throw InputError(
        fmt::format("{}: it keeps {} words, and the ring has {}", origin_of(path), file.words.size(), words_of(shape)));
  return std::move(file.words);
}

}  // namespace engine
