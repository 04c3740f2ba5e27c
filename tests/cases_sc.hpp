#pragma once

#include "cases.hpp"

namespace cases {

inline std::vector<Case> system_controller() {
  constexpr auto SC = scdb::ChipKind::sc;
  // This macro tests no access: every way of the entry is gone through and closed.
  const auto goes_on = [](const std::string &failed, std::span<const std::string> later) {
    const std::string &last = later.empty() ? failed : later.back();
    return last == "write 88 C0653C00";
  };
  return {
      {{"sc_9201_0101", 1, {0x203}}, SC},
      {.input = {"sc_9201_0101", 2, {0x203}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}, .kind = SC, .proves = true},
      {{"sc_9202_0101", 1, {0xF}}, SC},
      {.input = {"sc_9202_0101", 2, {0xF}, {0x12345678, 2, 3, 4}}, .kind = SC, .proves = true},
      {{"sc_9203_0101", 1, {0x1FFFFF}}, SC},
      {.input = {"sc_9203_0101", 2, {0x100001}}, .kind = SC, .proves = true},
      {{"sc_9210_0101", 0, {0x20000055}}, SC},
      {{"sc_9210_0101", 0, {0x30000055}}, SC},
      {{"sc_9210_0101", 0, {0xC0000055}}, SC},
      {{"sc_9210_0101", 0, {0xD0000055}}, SC},
      {{"sc_9211_0101", 1}, SC},
      {{"sc_93C0_0101", 1, {7, 1}}, SC},
      {{"sc_93C0_0101", 2, {7, 1}}, SC},
      {.input = {"sc_93C1_0101", 1, {7, 1}}, .kind = SC, .after = goes_on, .result_tells = false, .data_stays = false},
      {.input = {"sc_93C1_0101", 2, {7, 1}}, .kind = SC, .after = goes_on, .result_tells = false},
  };
}

}  // namespace cases
