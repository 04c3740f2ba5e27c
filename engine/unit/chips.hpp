#pragma once

#include <string>

#include "scdb/units.hpp"

namespace engine {

/// The chips that a location word selects: "cpu 0-1, sc 0"; empty when it has bits that stand for no chip.
[[nodiscard]] std::string describe_chips(macro_word location);

/// The short names of all kinds of units, as messages and help list them: "cpu, mac, ...".
[[nodiscard]] std::string kinds_of_units();

}  // namespace engine
