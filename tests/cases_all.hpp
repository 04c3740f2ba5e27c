#pragma once

#include <fmt/format.h>

#include "cases_arrays.hpp"
#include "cases_clock.hpp"
#include "cases_cpu_registers.hpp"
#include "cases_dimm.hpp"
#include "cases_ioc_scf.hpp"
#include "cases_memory_ports.hpp"
#include "cases_sc.hpp"
#include "cases_xb.hpp"

namespace cases {

/// The rows of one family of macros.
struct Family {
  const char *name;
  std::vector<Case> rows;
};

inline std::vector<Family> families() {
  return {{"cpu_registers", cpu_registers()}, {"arrays", arrays()},  {"clock", clock()},
          {"memory_ports", memory_ports()},   {"dimm", dimm()},      {"system_controller", system_controller()},
          {"crossbar", crossbar()},           {"ioc_scf", ioc_scf()}};
}

inline std::vector<Case> all() {
  std::vector<Case> rows;
  for (const Family &family : families())
    rows.insert(rows.end(), family.rows.begin(), family.rows.end());
  return rows;
}

/// The description of the case's server with no more chips than the case takes: it is copied for each run.
inline std::string small_server(const Case &row) {
  const bool linked = row.kind == scdb::ChipKind::xb;  // with other boards
  std::string text = (linked ? "" : "boards = [0]\n") + row.server + "\n[chips]\n";
  for (const scdb::ChipKindInfo &kind : scdb::CHIP_KINDS)
    text += fmt::format("{} = {}\n", kind.name, kind.kind != row.kind ? 0 : linked ? 2 : 1);
  return text;
}

}  // namespace cases
