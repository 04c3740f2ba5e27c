#pragma once

#include <string>
#include <vector>

#include "engine/run/request.hpp"
#include "engine/run/series.hpp"
#include "host/command/options.hpp"
#include "host/names.hpp"

namespace host {

/// The command line of `run` as it was given.
struct RunOptions {
  CommonOptions common;
  std::string macro;                ///< name or test number
  std::vector<std::string> fields;  ///< NAME=VALUE
  std::string rw;
  std::vector<std::string> para;
  std::vector<std::string> data;
  std::string data_in;  ///< a file
  std::string data_words;
  std::vector<std::string> units;
  std::string unit_type;
  std::string unit_number;
  std::vector<std::string> mring;
  bool together = false;
  bool each = false;
  bool keep_going = false;
  bool restore_open_rings = false;
  bool keep_open_rings = false;
  std::string timeout;
  std::string progress;
  std::string trace;  ///< file, "-" for standard error; empty = no trace
  bool raw = false;
  bool dry_run = false;
  std::string repeat;
  std::vector<std::string> expect;
  std::vector<std::string> masks;
  std::string data_out;
};

/// Adds all of them to the command.
void add_run_options(Command &command, RunOptions &options);

/// The run that they ask for, but for its unit.
/// @throw InputError
[[nodiscard]] RunOrder order_of(const RunOptions &options);

/// The units that the macro is run on, one after another: single chips, unless it takes all chips of a unit together or
/// the options want it so.
/// @throw InputError
[[nodiscard]] std::vector<Selection> units_of(const RunOptions &options, const RunRequest &request, Bench &bench);

/// How often and by what rules it is run.
/// @throw InputError
[[nodiscard]] SeriesRules rules_of(const RunOptions &options);

}  // namespace host
