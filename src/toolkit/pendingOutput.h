#pragma once

#include "trimora/export.h"

#include <string>

namespace trimora {

// The output files that this process is writing, as those have to know them who end the process: files are filled under
// passing names and then claimed for their places, all at once. Discarding and claiming exclude each other, whichever thread
// comes first. One thread writes; any may discard.

/// Announces a file that is going to be filled, beside those announced since the last claim.
TRIMORA_API void addPendingOutput(std::string const& path);

/// Takes back the last announcement: the file is another's.
TRIMORA_API void takeBackPendingOutput();

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

/// What the passing names of this process begin with; no other process has it, on whatever machine: ".trimora-", the
/// machine (with its space of process numbers: containers on it have their own), the process and a random part.
TRIMORA_API std::string passingStem();

/// Says so for a process that is about to be started; it takes it by usePassingStem.
TRIMORA_API std::string newPassingStem();

/// Whether a file's name is a passing one of a process that ran on this machine and is gone: nobody will fill it any more. That
/// of a process whose number another one has now is not told.
TRIMORA_API bool isLeftOver(std::string const& fileName);

/// Call before the first output is opened.
TRIMORA_API void usePassingStem(std::string const& stem);

/// Whether outputs are on the disk before they get their names, so that none is lost or torn when the machine goes down: for
/// runs whose record of what is done outlasts them. Off unless set; a write then waits for the disk.
TRIMORA_API void setOutputsOnDisk(bool isWanted);
TRIMORA_API bool areOutputsOnDisk();

}  // namespace trimora
