#include "engine/run/processor_fault.hpp"

namespace engine {

/// On these processors the context does not tell it everywhere alike.
Access faulting_access(const void * /*context*/) {
  return Access::unknown;
}

}  // namespace engine
