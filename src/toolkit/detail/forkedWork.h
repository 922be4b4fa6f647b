#pragma once

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace trimora {

/// Limits of a child process.
struct ChildLimits {
    int seconds = 60;             ///< of its own computing time
    std::uint64_t maxMemory = 0;  ///< bytes beyond what this process has now; 0 is no limit
};

enum class ChildEnd {
    Done,
    Broke,      ///< a signal ended it, or an exception
    PastLimit,  ///< it ran out of memory or computing time, or the system ended it
    Cancelled,  ///< the caller's progress was cancelled
    NotStarted  ///< the system gave no process
};

/// Does work that may break in a copy of this process, so that it breaks nothing here. The work starts from the memory of
/// the caller, on one thread, and hands back only what it returns: it must take no locks that other threads may hold, and
/// print nothing.
///
/// result      out: what the work returned; complete when Done
/// progress    null, or asked now and then; cancelled: the copy is ended
TRIMORA_API ChildEnd runInChild(std::function<std::string()> const& work, ChildLimits const& limits,
                                koUtil::Progress* progress, std::string& result);

}  // namespace trimora
