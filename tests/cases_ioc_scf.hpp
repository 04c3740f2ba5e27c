#pragma once

#include "cases.hpp"

namespace cases {

inline std::vector<Case> ioc_scf() {
  using scdb::ChipKind;
  return {
      {{"io_96F1_0101", 1, {0, 1, 0x00FC5A08}}, ChipKind::ioc},
      {{"io_96F1_0101", 2, {1, 0x7FFF, 0xFFFFFF34}, {0x12345678}}, ChipKind::ioc},
      {{"io_96F1_0101", 0}, ChipKind::ioc},
      // It repeats the bridge's read: a matching run, whose result words stay 0.
      {{"io_9685_0101", 0, {0, 0, 0, 0, 0x96F1, 2}}, ChipKind::ioc},
      {{"sp_8000_0000", 1, {0x18, 8, 2}}, ChipKind::sp},
      {{"sp_8000_0000", 2, {0xA0, 6, 3}, {1, 2}}, ChipKind::sp},
      {{"sp_8001_0000", 1, {0, 0x30002, 4}}, ChipKind::sp},
      {{"sp_8001_0000", 2, {1, 0x10110, 1}, {1}}, ChipKind::sp},
      {{"sp_8002_0000", 1, {0, 0x30002, 2}}, ChipKind::sp},
      {{"sp_8002_0000", 2, {3, 0x10110, 4}, {1}}, ChipKind::sp},
  };
}

}  // namespace cases
