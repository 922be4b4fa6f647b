#pragma once

#include "trimora/export.h"

#include <string>

namespace trimora {

/// Names the temporary file that a writer is filling, so that a process that has to end can take it away. At most one is
/// remembered; an empty path forgets it. Not for several writers at once.
TRIMORA_API void setPendingOutput(std::string const& path);

/// Deletes the temporary file that is being filled, if there is one. Safe to call from a signal handler.
TRIMORA_API void discardPendingOutput();

}  // namespace trimora
