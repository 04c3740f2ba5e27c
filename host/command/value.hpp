#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/names.hpp"

namespace host {

/// What an option or argument takes.
enum class Takes : std::uint8_t {
  text,
  number,
  word,
  file_or_words,
  seconds,
  bytes,
  ring_bits,
  choice,
  kind_of_chip,
  machine,
  library,
  catalogue,
  macro,
  family,
  unit,
  direction,
  field,
  ring,
  plan,
  command,
  file,
  folder,
};

/// What an option or argument takes, with the choices where it is one of some.  The word that stands for it in help and
/// manual is made of this, and so are the ways to complete it.
struct Value {
  // NOLINTNEXTLINE(google-explicit-constructor): what is taken stands for itself where an option is added
  Value(Takes what) : takes{what} {}

  Takes takes;
  std::vector<std::string> choices;  ///< of Takes::choice
};

/// One of these.
[[nodiscard]] Value one_of(std::vector<std::string> choices);

/// The word that stands for a value: "FILE", "auto|json|none"; empty where none does.
[[nodiscard]] std::string placeholder_of(const Value &value);

}  // namespace host
