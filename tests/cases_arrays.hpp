#pragma once

#include "cases.hpp"

namespace cases {

/// The check-bit macros, and the array macros that call them.
inline std::vector<Case> arrays() {
  // A failed check-bit generation is cleared by the macro that asked for it, and everything goes on.
  const auto generates = [](const std::string &line) { return line.find("egen") != std::string::npos; };
  const auto fails = [generates](const std::string &failed) { return !generates(failed); };
  const auto after = [generates](const std::string &failed, std::span<const std::string> later) {
    return later.empty() != generates(failed) || failed.starts_with("egen");
  };
  std::vector<Case> rows;
  const auto add = [&](support::RunInput input) {
    rows.push_back({.input = std::move(input), .after = after, .fails = fails});
  };
  for (const char *macro : {"cp_9ACA_0101", "cp_9ACB_0101", "cp_9ACC_0101", "cpj_A28A_0101", "cpj_A28B_0101",
                            "cpj_A28C_0101", "cpj_A2CA_0101", "cpj_A2CB_0101", "cpj_A2CC_0101"})
    add({macro, 0, {0x12345678, 0x9ABCDEF0, 0x0F1E2D3C}});
  for (const std::string set : {"cp_9AC", "cpj_A28", "cpj_A2C"})
    for (const char digit : std::string(set == "cp_9AC" ? "12345" : "12345678")) {
      const std::string macro = set + digit + "_0101";
      // The line RAM transfers no less than the 32 entries of a line: its restore leaves the check bits as they are.
      add({macro, 1, {0, 1}, {}, 96});
      add({macro, 2, {0, 1, digit == '5' ? 1U : 0U}, {}, 96});
      add({macro, 3, {0, 1}});
    }
  return rows;
}

}  // namespace cases
