#include <memory>
#include <string>
#include <vector>

#include "engine/plan/plan.hpp"
#include "engine/text/error.hpp"
#include "fuzz.hpp"
#include "scdb/macros.hpp"
#include "scdb/session.hpp"

// Plans, for the default machine and the library's macros.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  static const bool loaded = [] {
    scdb::load_macro_library(MACRO_LIBRARY);
    return true;
  }();
  static const engine::Catalogue catalogue{{}};
  static const std::vector<scdb::Chip> chips = scdb::machine().chips();
  fuzz::require(loaded, "there are macros");
  try {
    const engine::PlanSource source{"fuzz", "fuzz.toml", std::string{reinterpret_cast<const char *>(bytes), size}};
    const engine::Plan plan = engine::read_plan(source, catalogue, chips);
    for (const engine::PlanStep &step : plan.steps)
      fuzz::require(!step.variants.empty() && !step.macro.empty(), "a step has something to run");
    fuzz::require(title_of(source) == plan.title, "the title alone is the plan's");
  } catch (const engine::InputError &) {
    // Says what is wrong.
  }
  return 0;
}
