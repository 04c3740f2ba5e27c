#pragma once

#include "cases.hpp"

namespace cases {

inline std::vector<Case> crossbar() {
  constexpr auto XB = scdb::ChipKind::xb;
  constexpr std::size_t ALL_RAMS = std::size_t{80} * 512 * 3;
  return {
      {{"xb_9400_0101", 1, {0x00900005}}, XB},
      {{"xb_9400_0101", 2, {0x00900005}, {1, 2, 3}}, XB},
      {{"xb_9408_0101", 0, {}, {}, ALL_RAMS}, XB},
      {{"xb_9430_0101"}, XB},
      {{"xb_9434_0101"}, XB},
      // Links that need fewer steps to come up.
      {{"xb_9434_0101"}, XB, stops, "base = \"default\"\n[xb]\nlink-mode = 2\n"},
  };
}

}  // namespace cases
