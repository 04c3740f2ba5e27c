#pragma once

#include <chrono>
#include <span>
#include <string>
#include <vector>

#include "engine/run/expectation.hpp"

/// Plans: steps of macros with what is expected of them, as a file tells them (docs/plans.md).
namespace engine {

/// One run of a step, but for the unit.
struct PlanVariant {
  std::string
      values;  ///< of the fields that the step goes through: "group=0 index=3"; empty where it goes through none
  RunRequest request;  ///< its unit is not set
  Expectation expectation;
};

/// A macro, or several of a kind, run on every unit with every variant.
struct PlanStep {
  std::string name;
  std::string macro;                     ///< for people: "cp_9A10_0101", "cpj_A303_0101 and 3 more"
  bool cleanup = false;                  ///< runs whatever happened before
  std::string missing;                   ///< why nothing of it can be run on this machine; empty where it can
  std::vector<Selection> units;          ///< those of one run each
  std::vector<PlanVariant> variants;     ///< at least one, unless the step cannot be run
  macro_word repeat = 1;                 ///< runs of each, or until one is not as expected
  Verdict verdict = Verdict::pass;       ///< that is expected
  std::chrono::milliseconds timeout{0};  ///< for one run; 0 = as long as it takes
  OpenRings rings = OpenRings::usual;    ///< what is done about rings that are open after a run
  bool go_on = false;                    ///< whether the next step follows when this one was not as expected

  /// Units and variants: what is counted and reported, whatever `repeat` says.
  [[nodiscard]] std::size_t cases() const { return units.size() * variants.size(); }
};

struct Plan {
  std::string name;  ///< short name, that of the file
  std::string title;
  std::string text;
  std::string source;           ///< the file's text
  std::vector<PlanStep> steps;  ///< those that clean up come last

  [[nodiscard]] std::size_t cases() const;
};

/// Where the text of a plan comes from.
struct PlanSource {
  std::string name;    ///< short name
  std::string origin;  ///< what messages call it: a path, or, for one that is built in, the name of its file
  std::string text;
};

/// The plan that a name means: one that is built in, or, where the name has a slash or a dot in it, a file.
/// @throw InputError
[[nodiscard]] PlanSource find_plan(const std::string &name);

/// All that are built in, ordered by name.
[[nodiscard]] std::vector<PlanSource> built_in_plans();

/// Reads a plan and checks everything in it against the machine, the macro libraries, which must have been loaded, and
/// the catalogue.
/// @param chips  the chips of the machine.
/// @throw InputError with file, line and column.
[[nodiscard]] Plan read_plan(const PlanSource &source, const Catalogue &catalogue, std::span<const scdb::Chip> chips);

/// The title alone.
/// @throw InputError
[[nodiscard]] std::string title_of(const PlanSource &source);

}  // namespace engine
