#pragma once

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

}  // namespace cases
