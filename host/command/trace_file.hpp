#pragma once

#include <fstream>
#include <ostream>
#include <string>
#include <string_view>

#include "engine/run/trace.hpp"
#include "host/names.hpp"
#include "scdb/session.hpp"

namespace host {

/// Stands for standard error where --trace names no file.
inline constexpr std::string_view STANDARD_ERROR = "-";

/// A trace of all primitive calls while it lives, in a file or on standard error.
class TraceFile {
 public:
  /// @param path  file to write, replaced when it exists; STANDARD_ERROR for that.
  /// @throw InputError when the file cannot be written.
  explicit TraceFile(const std::string &path);
  TraceFile(const TraceFile &) = delete;
  TraceFile &operator=(const TraceFile &) = delete;
  ~TraceFile() = default;

  void end_run() { trace_.end_run(); }

  /// Sees to it that everything has been written.
  /// @throw InputError when it could not be.
  void finish();

 private:
  std::string path_;  ///< empty for standard error
  std::ofstream file_;
  std::ostream &out_;
  Trace trace_;
  scdb::Observing observing_;
};

}  // namespace host
