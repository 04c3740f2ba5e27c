#pragma once

#include <functional>
#include <string_view>

namespace engine {

/// Where a text goes, piece by piece.  What cannot be written there is an InputError.
using Sink = std::function<void(std::string_view text)>;

}  // namespace engine
