#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/run/bench.hpp"
#include "host/names.hpp"

namespace host {

/// The shell whose lines are run: they all work on its bench.
struct OpenShell {
  Bench &bench;
  bool ended = false;  ///< whether no further line is wanted
};

/// Options that commands on macros and machines have.
struct CommonOptions {
  OpenShell *shell = nullptr;          ///< whose line the command is; null where it is none's
  std::string machine;                 ///< description, empty for the default
  std::string state;                   ///< file that keeps the machine's state, empty for none
  std::vector<std::string> libraries;  ///< macro libraries, empty for the default
  std::string catalogue;               ///< folder of catalogue files, empty for the shell's, or what is built in
  bool json = false;
};

/// The bench that a command works on: that of the shell whose line it is, or one of its own.
class BenchInUse {
 public:
  explicit BenchInUse(const CommonOptions &options);

  [[nodiscard]] Bench &operator*() { return *bench_; }
  [[nodiscard]] Bench *operator->() { return bench_; }

  /// The catalogue that was asked for, else the bench's.
  /// @throw InputError
  [[nodiscard]] const Catalogue &catalogue();

 private:
  std::optional<Bench> own_;
  Bench *bench_;
  std::string folder_;
  std::optional<Catalogue> catalogue_;
};

}  // namespace host
