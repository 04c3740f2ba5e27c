#include "host/command/option_names.hpp"

namespace host {

std::string_view option_name(Subject subject) {
  switch (subject) {
    case Subject::machine:
      return "--machine";
    case Subject::macro_list:
      return "'mcrhost list'";
    case Subject::state:
      return "--state";
    case Subject::catalogue:
      return "--catalogue";
    case Subject::run:
      return "mcrhost run";
    case Subject::unit:
      return "--unit";
    case Subject::direction:
      return "--rw";
    case Subject::para:
      return "--para";
    case Subject::data:
      return "--data";
    case Subject::data_file:
      return "--data-in";
    case Subject::data_words:
      return "--data-words";
    case Subject::expect:
      return "--expect";
    case Subject::mask:
      return "--mask";
    case Subject::dry_run:
      return "--dry-run";
    case Subject::restore_rings:
      return "--restore-open-rings";
    case Subject::checkpoint:
      return "--checkpoint";
    case Subject::resume:
      return "--resume";
    case Subject::junit:
      return "--junit";
    case Subject::ocptv:
      return "--ocptv";
  }
  return neutral_name(subject);
}

}  // namespace host
