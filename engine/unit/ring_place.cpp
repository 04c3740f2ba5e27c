#include "engine/unit/ring_place.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "engine/text/error.hpp"
#include "engine/text/words.hpp"
#include "scdb/access.hpp"

namespace engine {
namespace {

using scdb::LAST_POSITION;
using scdb::LONGEST_RUN;

constexpr unsigned LONGEST_PLACE = 32;

macro_word parse_position(std::string_view text, std::string_view whole) {
  const macro_word position = parse_word(text, fmt::format("ring bits '{}'", whole));
  if (position > LAST_POSITION)
    throw InputError(
        fmt::format("ring bits '{}': there is no position {}; the highest is {}", whole, text, LAST_POSITION));
  return position;
}

void check_length(macro_word length, std::string_view whole) {
  if (length < 1 || length > LONGEST_PLACE)
    throw InputError(fmt::format("ring bits '{}': {} bits at once; give 1 to {}", whole, length, LONGEST_PLACE));
}

/// A run towards higher positions, in as many addresses as it needs.
RingPlace ascending(std::string_view name, macro_word ring, macro_word first, macro_word length) {
  check_length(length, name);
  RingPlace place{std::string{name}, {}, length, first + length - 1};
  for (macro_word done = 0; done < length; done += LONGEST_RUN)
    place.addresses.push_back(scdb::put_together({first + done, ring, std::min(LONGEST_RUN, length - done)}));
  return place;
}

/// Single bits towards lower positions.
RingPlace descending(std::string_view name, macro_word ring, macro_word first, macro_word last) {
  check_length(first - last + 1, name);
  RingPlace place{std::string{name}, {}, first - last + 1, first};
  for (macro_word bit = 0; bit < place.length; ++bit)
    place.addresses.push_back(scdb::put_together({first - bit, ring, 1}));
  return place;
}

}  // namespace

RingPlace parse_ring_place(std::string_view text, macro_word ring) {
  if (const std::size_t plus = text.find('+'); plus != std::string_view::npos)
    return ascending(text, ring, parse_position(text.substr(0, plus), text),
                     parse_word(text.substr(plus + 1), fmt::format("ring bits '{}'", text)));
  if (const std::size_t dash = text.find('-'); dash != std::string_view::npos && dash != 0) {
    const macro_word first = parse_position(text.substr(0, dash), text);
    const macro_word last = parse_position(text.substr(dash + 1), text);
    return first > last ? descending(text, ring, first, last) : ascending(text, ring, first, last - first + 1);
  }
  const macro_word address = parse_word(text, fmt::format("ring bits '{}'", text));
  if (address <= LAST_POSITION)
    return ascending(text, ring, address, 1);
  const scdb::RingBits bits = scdb::take_apart(address);
  if (bits.ring != ring)
    throw InputError(
        fmt::format("ring bits '{}': this is an address in ring 0x{:02X}, not 0x{:02X}", text, bits.ring, ring));
  return ascending(text, ring, bits.position, bits.length);
}

}  // namespace engine
