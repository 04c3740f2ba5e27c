#include "host/command/session.hpp"

#include <utility>

#include "engine/catalogue/catalogue.hpp"
#include "host/command/output.hpp"

namespace host {
namespace {

constinit Session *current = nullptr;

}  // namespace

Session::Session(const CommonOptions &options, std::string catalogue)
    : state_{options.state}, catalogue_{std::move(catalogue)} {
  open(options);
  // A folder without a catalogue is refused now, not at some line.
  static_cast<void>(Catalogue{catalogue_});
  current = this;
}

Session::~Session() {
  current = nullptr;
}

void Session::put_machine_back() {
  if (!before_run_)
    return;
  scdb::attach(std::move(before_run_));
  complain(
      "the machine is as it was before the run again, with no open rings, because the macro crashed inside a "
      "primitive");
}

Session *session() {
  return current;
}

}  // namespace host
