#pragma once

#include "batchResults.h"
#include "childProcess.h"

#include <cstdint>
#include <string>

namespace app {

/// How the process of a file came to its end, apart from what it says itself.
struct EndOfChild {
    ChildProcess::Ending ending;
    bool isOverdue = false;         ///< it was told to end, its time being over
    bool wasShortOfMemory = false;  ///< the system ended processes for want of memory meanwhile
    bool isReportCut = false;       ///< that was more than a line of the results should hold
    Json run = nullptr;             ///< what it has put on standard output, if that is an object
};

EndOfChild endOf(ChildProcess const& child, bool isOverdue, std::uint64_t memoryKillsBefore);

/// The status of its file. What the child says of itself counts where it ended by itself: code 0 or 1 is a success only with the
/// object of one (a sanitizer's end has code 1, too), or with one that is too large to be taken; and a failure is what its
/// "reason" says.
std::string statusOf(EndOfChild const& end);

/// "SIGSEGV"; null where no signal ended it.
Json signalJson(ChildProcess::Ending const& ending);

/// Processes that the system has ended for want of memory since it was started; 0 where it does not tell.
std::uint64_t numMemoryKills();

/// What a child said on standard error.
struct WordsOfChild {
    std::vector<std::string> lastLines;
    int numWarnings = 0;
    std::string lastWarning;  ///< its line; empty without
};

WordsOfChild wordsOf(std::string const& text);

}  // namespace app
