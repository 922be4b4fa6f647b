#pragma once

#include "trimora/export.h"

#include <string>

namespace trimora {

// The output files that this process is writing, as those have to know them who end the process: files are filled under
// passing names and then claimed for their places, all at once. Discarding and claiming exclude each other, whichever thread
// comes first. One thread writes; any may discard.

/// Announces a file that is going to be filled, beside those announced since the last claim.
TRIMORA_API void addPendingOutput(std::string const& path);

/// Forgets all files, and that any was claimed.
TRIMORA_API void forgetPendingOutputs();

/// Announces that all the files are complete and about to be put in place: from now on none is discarded.
///
/// returns     false when they were discarded before: none must be put in place, and the process is ending
TRIMORA_API bool claimPendingOutputs();

/// Deletes the files that are being filled, if there are any. Safe to call from a signal handler.
///
/// returns     false when outputs were claimed since the last announcement: they stand, or are about to
TRIMORA_API bool discardPendingOutputs();

}  // namespace trimora
