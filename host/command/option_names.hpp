#pragma once

#include <string_view>

#include "engine/text/error.hpp"
#include "host/names.hpp"

namespace host {

/// What the command line calls a subject: "--state".
[[nodiscard]] std::string_view option_name(Subject subject);

}  // namespace host
