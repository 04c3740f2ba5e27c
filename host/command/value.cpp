#include "host/command/value.hpp"

#include <fmt/format.h>

#include <utility>

namespace host {

Value one_of(std::vector<std::string> choices) {
  Value value = Takes::choice;
  value.choices = std::move(choices);
  return value;
}

std::string placeholder_of(const Value &value) {
  switch (value.takes) {
    case Takes::text:
      return "";
    case Takes::number:
      return "N";
    case Takes::word:
      return "W";
    case Takes::file_or_words:
      return "FILE|W";
    case Takes::seconds:
      return "SECONDS";
    case Takes::bytes:
      return "BYTES";
    case Takes::ring_bits:
      return "BITS";
    case Takes::choice:
      return fmt::format("{}", fmt::join(value.choices, "|"));
    case Takes::kind_of_chip:
      return "KIND";
    case Takes::machine:
    case Takes::library:
    case Takes::file:
      return "FILE";
    case Takes::catalogue:
    case Takes::folder:
      return "DIR";
    case Takes::macro:
      return "MACRO";
    case Takes::family:
      return "FAMILY";
    case Takes::unit:
      return "UNIT";
    case Takes::direction:
      return "DIRECTION";
    case Takes::field:
      return "NAME=VALUE";
    case Takes::ring:
      return "RING";
    case Takes::plan:
      return "PLAN";
    case Takes::command:
      return "COMMAND";
  }
  return "";
}

}  // namespace host
