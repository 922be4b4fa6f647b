#pragma once

#include "trimora/export.h"

#include <string>

namespace trimora {

// The one output file that this process is writing, as those have to know it who end the process: a file is filled under
// a passing name and then claimed for its place. Discarding and claiming exclude each other, whichever thread comes first. Not for
// several writers at once.

/// Announces the file that is going to be filled; an empty path forgets it.
TRIMORA_API void setPendingOutput(std::string const& path);

/// Announces that the file is complete and is about to be put in place: from now on it is not discarded.
///
/// returns     false when it was discarded before: it must not be put in place, and the process is ending
TRIMORA_API bool claimPendingOutput();

/// Deletes the file that is being filled, if there is one. Safe to call from a signal handler.
///
/// returns     false when an output was claimed since the last announcement: it stands, or is about to
TRIMORA_API bool discardPendingOutput();

}  // namespace trimora
