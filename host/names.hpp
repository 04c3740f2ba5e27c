#pragma once

namespace engine {}

/// The program: the shell and the commands.
namespace host {

/// It speaks of the engine's things by their own names.
using namespace engine;

}  // namespace host
