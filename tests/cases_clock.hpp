#pragma once

#include "cases.hpp"

namespace cases {

inline std::vector<Case> clock() {
  const std::vector<macro_word> ratio{0xC0060000, 1, 2, 3};
  const std::vector<macro_word> words(32, 0x1234);
  return {
      {{"cp_9AE0_0101", 0, ratio}},
      {{"cp_9AEA_0101", 0, ratio}},
      {{"cp_9AED_0101", 0, ratio}},
      {{"cp_9AF0_0101", 0, ratio}},
      {{"cp_9AE1_0101", 0, {1, 2, 3, 4}, words}},
      {{"cp_9AEB_0101", 0, {1, 2, 3, 4}, words}},
      {{"cp_9AEC_0101", 0, {0}}},
      {{"cp_9AE2_0101", 0, {0}}},
      {{"cp_9AF1_0101", 0, {1, 2, 3, 4}, words}},
      {{"cp_9AF2_0101", 0, {0}}},
      {{"cp_9AF2_0101", 0, {0x80000000}}},
  };
}

}  // namespace cases
