#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/catalogue/catalogue.hpp"
#include "engine/run/dry_run.hpp"
#include "engine/run/runner.hpp"
#include "scdb/session.hpp"

namespace engine {

/// Which machine runs work on.
struct MachineInfo {
  std::string name;
  bool simulated = false;
};

/// What a bench is made of; all of it may be empty.
struct BenchSource {
  std::string machine;                 ///< description, empty for the default
  std::string state;                   ///< file that keeps the machine's state, empty for none
  std::vector<std::string> libraries;  ///< macro libraries, empty for the default
  std::string catalogue;               ///< folder of catalogue files, empty for what is built in
};

/// What macros are run on: a machine with its kept state and its open rings, macro libraries, a parsed catalogue.  Each
/// of these is opened when it is first asked for.
///
/// The primitives work on one machine in a process, so there is one bench at a time.  A library that has been loaded
/// stays.
class Bench {
 public:
  /// @throw std::logic_error when there is a bench already.
  explicit Bench(BenchSource source) : Bench{std::move(source), nullptr} {}
  /// On a machine that the client has opened itself.
  /// @param machine  null: the one that `source` describes.
  Bench(BenchSource source, std::unique_ptr<scdb::Machine> machine);
  ~Bench();
  Bench(const Bench &) = delete;
  Bench &operator=(const Bench &) = delete;

  /// Opens all that there is, so that what is wrong is said at once.
  /// @throw InputError, scdb::MachineError, scdb::LibraryError
  void open();

  /// The machine, in the state that the state file keeps where there is one.
  /// @throw InputError, scdb::MachineError
  [[nodiscard]] scdb::Machine &machine();
  [[nodiscard]] const MachineInfo &machine_info();
  /// The chips of the machine, in ascending order.
  [[nodiscard]] const std::vector<scdb::Chip> &chips();

  /// The macros of the libraries, loaded when they are first asked for.
  /// @throw InputError, scdb::LibraryError
  std::span<const scdb::Macro> macros();
  /// @throw InputError
  [[nodiscard]] const Catalogue &catalogue();

  /// Runs a macro and sees to the rings that are open afterwards: what they held is put back where that is wanted.  A
  /// macro that crashes leaves the machine between two accesses, whatever it crashed in.
  /// @param stop  what may stop it at a primitive call; null: nothing.
  /// @throw std::bad_alloc
  [[nodiscard]] RunResult run(const RunRequest &request, StopToken *stop);

  /// Puts back what open rings held before they were opened.
  /// @param before  rings that an earlier run is to blame for.
  /// @return all that were open, and what became of them.
  std::vector<RingLeft> restore_rings(std::span<const scdb::OpenRing> before = {});

  /// Writes the machine's state into the state file, whole or not at all; without such a file nothing is done, nor
  /// while a dry run lasts.
  /// @throw InputError when the machine gives no state, or the file cannot be written.
  void keep_state();

  /// From now on runs work on a copy of the machine, until end_dry_run(); the machine stays as it is.
  /// @throw InputError when the machine cannot be copied, or scdb::MachineError.
  DryRun &begin_dry_run();
  void end_dry_run() { dry_run_.reset(); }

 private:
  void load_state();
  /// @param before  the rings that were open before the run.
  [[nodiscard]] std::vector<RingLeft> see_to_rings(OpenRings wanted, std::span<const scdb::OpenRing> before);

  BenchSource source_;
  std::unique_ptr<scdb::Machine> given_;  ///< until it is opened; null: the source describes the machine
  bool open_ = false;                     ///< whether the machine is
  bool loaded_ = false;
  std::optional<Catalogue> catalogue_;
  MachineInfo info_;
  std::vector<scdb::Chip> chips_;
  std::optional<Runner> runner_;
  std::optional<DryRun> dry_run_;
};

}  // namespace engine
