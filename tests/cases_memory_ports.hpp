#pragma once

#include <algorithm>

#include "cases.hpp"

namespace cases {

/// A macro that looks for failures at check points only: it goes on to the next one, at most `calls` further calls, and
/// then closes all its rings in the order in which it opened them.  A ring that could not be opened ends it at once,
/// and after a failed closing the other rings are still closed.
inline AfterFailure closes(std::vector<std::string> rings, std::size_t calls) {
  return [rings = std::move(rings), calls](const std::string &failed, std::span<const std::string> later) {
    if (failed.starts_with("open"))
      return later.empty();
    std::vector<std::string> closings;
    for (const std::string &ring : rings)
      closings.push_back("close " + ring);
    if (const auto at = std::ranges::find(closings, failed); at != closings.end())
      return std::ranges::equal(later, std::span(at + 1, closings.end()));
    if (later.size() < closings.size() || later.size() - closings.size() > calls)
      return false;
    const std::size_t between = later.size() - closings.size();
    return std::ranges::equal(later.subspan(between), closings)
           && std::ranges::none_of(later.first(between), [](const std::string &line) {
                return line.starts_with("open") || line.starts_with("close");
              });
  };
}

inline std::vector<Case> memory_ports() {
  std::vector<Case> rows;
  const auto add = [&rows](support::RunInput input, std::vector<std::string> rings, std::size_t calls) {
    input.data_words = 256;
    // What is read after a failure is still stored.
    rows.push_back({.input = std::move(input), .after = closes(std::move(rings), calls), .data_stays = false});
  };
  struct Port {
    const char *prefix;
    const char *data;
    const char *control;
  };
  for (const auto &[prefix, data, control] : {Port{"cpj_A30", "30", "33"}, Port{"cpj_A34", "34", "37"},
                                              Port{"cpj_A38", "38", "3B"}, Port{"cpj_A3C", "3C", "3F"}}) {
    const auto name = [start = std::string(prefix)](char digit) { return start + digit + "_0101"; };
    add({name('3'), 1, {0, 1}}, {data}, 16 * 9 - 1);
    add({name('5'), 1, {0, 1}}, {data}, 2 * 8 - 1);
    add({name('4'), 1, {7, 1}}, {data}, 1 + 6 + 3 + 6 * 3 - 1);
    add({name('0'), 1, {2, 2}}, {data, control}, 1 + 36 - 1);
    add({name('0'), 2, {2, 2}}, {data, control}, 1 + 4 * 11 - 1);
  }
  for (const auto &[prefix, data, control] : {Port{"cp_9B0", "30", "3A"}, Port{"cp_9B4", "33", "3B"}}) {
    add({std::string(prefix) + "0_0101", 1, {2, 2}}, {data, control}, 1 + 36 - 1);
    add({std::string(prefix) + "0_0101", 2, {2, 2}}, {data, control}, 1 + 4 * 11 - 1);
  }
  // These look after each call.
  rows.push_back({.input = {"cp_9B09_0101", 1}, .after = closes({"3A", "5C"}, 0)});
  rows.push_back({.input = {"cp_9B0A_0101", 1}, .after = closes({"3D", "5C"}, 0)});
  return rows;
}

}  // namespace cases
