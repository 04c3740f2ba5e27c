#include "host/command/bench_in_use.hpp"

namespace host {

BenchInUse::BenchInUse(const CommonOptions &options)
    : bench_{options.shell != nullptr
                 ? &options.shell->bench
                 : &own_.emplace(BenchSource{options.machine, options.state, options.libraries, options.catalogue})},
      folder_{options.shell != nullptr ? options.catalogue : std::string{}} {}

const Catalogue &BenchInUse::catalogue() {
  if (folder_.empty())
    return bench_->catalogue();
  if (!catalogue_)
    catalogue_.emplace(folder_);
  return *catalogue_;
}

}  // namespace host
