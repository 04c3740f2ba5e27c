#pragma once

#include <memory>
#include <string>

#include "engine/plan/events.hpp"
#include "engine/text/sink.hpp"

/// The formats in which results of plans are told.  Those that write a file write it whole at the end.
namespace engine {

/// For people: a line for each step, and what was not as expected.
/// @param every_run  a line for each run as well.
[[nodiscard]] std::unique_ptr<PlanReporter> make_text_reporter(Sink sink, bool every_run);

/// For programs: a JSON object a line for each event.
[[nodiscard]] std::unique_ptr<PlanReporter> make_json_reporter(Sink sink);

/// JUnit XML: a test suite for each step, a test case for each run.
[[nodiscard]] std::unique_ptr<PlanReporter> make_junit_reporter(std::string path);

/// Open Compute test-and-validation output, schema 2.0: JSON lines.
[[nodiscard]] std::unique_ptr<PlanReporter> make_ocptv_reporter(std::string path);

}  // namespace engine
