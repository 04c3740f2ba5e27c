#pragma once

#include <memory>
#include <string>

#include "host/command/options.hpp"
#include "scdb/session.hpp"
#include "host/names.hpp"

namespace host {

/// What the lines of a shell work on: a machine with its state and open rings, macro libraries, a catalogue.
class Session {
 public:
  /// Opens all of it; there is no other session.
  /// @throw InputError, scdb::MachineError, scdb::LibraryError
  Session(const CommonOptions &options, std::string catalogue);
  ~Session();
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  /// The file of --state, empty for none.
  [[nodiscard]] const std::string &state() const { return state_; }
  /// The folder of --catalogue, empty for what is built in.
  [[nodiscard]] const std::string &catalogue() const { return catalogue_; }

  /// To be called before macros run.
  void remember_machine() { before_run_ = scdb::machine().copy(); }
  /// After a macro that crashed inside a primitive: a machine that is simulated may be halfway through an access.  It
  /// is put back as it was before the run, without open rings, and standard error says so.
  void put_machine_back();

  /// No further line is wanted.
  void end() { ended_ = true; }
  [[nodiscard]] bool ended() const { return ended_; }

 private:
  std::string state_;
  std::string catalogue_;
  std::unique_ptr<scdb::Machine> before_run_;
  bool ended_ = false;
};

/// The session that is open; null outside of a shell.
[[nodiscard]] Session *session();

}  // namespace host
