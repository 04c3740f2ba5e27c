#pragma once

#include <string>
#include <vector>

#include "engine/plan/events.hpp"

namespace engine {

/// The file from which a plan that was interrupted can go on: what has been done, and the state of the machine
/// afterwards.  It is replaced whole, or not at all.
class Checkpoint {
 public:
  /// @param bench  must outlive it; the file names its machine and the chips.
  Checkpoint(std::string path, const Plan &plan, Bench &bench);

  /// Takes up what the file keeps, and puts the machine into its state where there is one; then knows the results.
  /// @throw InputError for a file that does not exist, is damaged, or is of another plan or machine.
  void load();
  [[nodiscard]] const std::vector<CaseResult> &results() const { return results_; }

  /// Adds a result, and writes the file with the machine as it is now.  While rings are open, whose contents are not in
  /// the file, it waits: a plan that goes on makes those runs again.
  /// @throw InputError when it cannot be written.
  void add(const CaseResult &result);

  /// The file before any result, so that one that cannot be written is known at once.
  /// @throw InputError
  void begin() { write(); }

 private:
  void write() const;
  [[noreturn]] void refuse(const Wording &why) const;

  std::string path_;
  Bench &bench_;
  std::string identity_;  ///< of the plan and the machine: a line
  std::string lines_;     ///< a line for each result
  std::vector<CaseResult> results_;
};

}  // namespace engine
