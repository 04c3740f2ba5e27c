#include "engine/text/word_file.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/text/error.hpp"
#include "engine/text/file.hpp"
#include "engine/text/words.hpp"

namespace engine {
namespace {

constexpr std::size_t WORDS_A_LINE = 4;
constexpr std::string_view BETWEEN_WORDS = " \t\r,";

}  // namespace

bool is_text_file(std::string_view path) {
  return path.ends_with(".txt");
}

std::string bytes_of(std::span<const macro_word> words) {
  std::string bytes;
  bytes.reserve(words.size() * BYTES_OF_A_WORD);
  for (const macro_word word : words)
    for (unsigned shift = 32; shift != 0; shift -= 8)
      bytes += static_cast<char>(static_cast<unsigned char>(word >> (shift - 8) & 0xFF));
  return bytes;
}

std::vector<macro_word> words_of_bytes(std::string_view bytes, std::string_view origin) {
  if (bytes.size() % BYTES_OF_A_WORD != 0)
    throw InputError(
        fmt::format("{}: the file is cut short: {} bytes are no whole number of 4-byte words", origin, bytes.size()));
  std::vector<macro_word> words(bytes.size() / BYTES_OF_A_WORD);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    words[i / BYTES_OF_A_WORD] = words[i / BYTES_OF_A_WORD] << 8 | static_cast<unsigned char>(bytes[i]);
  return words;
}

std::string text_of(std::span<const macro_word> words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i)
    text += hex(words[i]) + (i % WORDS_A_LINE == WORDS_A_LINE - 1 || i + 1 == words.size() ? '\n' : ' ');
  return text;
}

std::vector<macro_word> words_of_text(std::string_view text, std::string_view origin, unsigned first_line) {
  std::vector<macro_word> words;
  unsigned number = first_line;
  for (const std::string_view whole : split(text, '\n')) {
    const std::string_view line = whole.substr(0, whole.find('#'));
    std::size_t at = line.find_first_not_of(BETWEEN_WORDS);
    while (at != std::string_view::npos) {
      const std::size_t end = std::min(line.find_first_of(BETWEEN_WORDS, at), line.size());
      words.push_back(parse_word(line.substr(at, end - at), fmt::format("{}:{}:{}", origin, number, at + 1)));
      at = line.find_first_not_of(BETWEEN_WORDS, end);
    }
    ++number;
  }
  return words;
}

std::vector<macro_word> read_words(const std::string &path, const Label &what) {
  const std::string content = read_file(path, what);
  try {
    return is_text_file(path) ? words_of_text(content, path) : words_of_bytes(content, path);
  } catch (const InputError &error) {
    throw what.error(error.what());
  }
}

void write_words(const std::string &path, std::span<const macro_word> words, const Label &what) {
  write_file(path, is_text_file(path) ? text_of(words) : bytes_of(words), what);
}

}  // namespace engine
