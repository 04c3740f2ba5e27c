#pragma once

#include "cases.hpp"

namespace cases {

inline std::vector<Case> dimm() {
  constexpr auto MAC = scdb::ChipKind::mac;
  // One rank in each group, and a final run that is over at the second look.
  const std::string small = R"(
      base = "default"
      [mac]
      option = 0
      group1-configuration = 0x80000000
      group1-completion-time = 1000
      group2-configuration = 0x8000
      group2-completion-time = 1000
  )";
  const std::string slow = R"(
      base = "default"
      [mac]
      group1-completion-time = 100000
  )";
  return {
      // An impedance search that reads ever the same code goes on for ever.
      {.input = {"ma_9000_0101"}, .kind = MAC, .server = small, .endless = true},
      {.input = {"ma_9001_0101", 0, {0x3401, 0x60006000}}, .kind = MAC, .server = small, .endless = true},
      {.input = {"ma_9001_0101", 0, {0x0502, 0x81008080}}, .kind = MAC, .server = small, .endless = true},
      {.input = {"ma_9002_0101", 0, {3}}, .kind = MAC, .endless = true},
      {.input = {"ma_9003_0101", 0, {1}}, .kind = MAC, .endless = true},
      {{"ma_9004_0101", 1, {3}}, MAC},
      {{"ma_9004_0101", 2, {7}}, MAC},
      {{"ma_9006_0101", 0, {0x13}}, MAC},
      {{"ma_9007_0101", 0, {0x10003002}}, MAC},
      {{"ma_9008_0101", 0, {3}}, MAC},
      {{"ma_9009_0101", 0, {1}}, MAC, stops, slow},
      {{"ma_9040_0101", 1}, MAC},
      {{"ma_9067_0101", 0, {0xFFFFFFFF}, {}, 72}, MAC},
  };
}

}  // namespace cases
