#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "engine/run/chip_access.hpp"

namespace engine {

/// What came of direct accesses, for people.
/// @param title  what was done, "jtag read 0x0F".
[[nodiscard]] std::string access_report(const std::string &title, const AccessResult &result,
                                        const MachineInfo &machine);

/// The same for programs.
[[nodiscard]] nlohmann::ordered_json json_access_report(const std::string &title, const AccessResult &result,
                                                        const MachineInfo &machine);

}  // namespace engine
