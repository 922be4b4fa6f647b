#include "toolkit/pendingOutput.h"

#include <algorithm>
#include <csignal>
#include <unistd.h>

namespace trimora {

namespace {

// Read by a signal handler: plain storage, and a flag that is set last and cleared first.
char pendingPath[4096];
volatile std::sig_atomic_t isPending = 0;

}  // namespace

void setPendingOutput(std::string const& path) {
    isPending = 0;
    if (path.empty() || path.size() >= sizeof pendingPath)
        return;
    std::copy(path.begin(), path.end(), pendingPath);
    pendingPath[path.size()] = '\0';
    isPending = 1;
}

void discardPendingOutput() {
    if (isPending != 0)
        unlink(pendingPath);
    isPending = 0;
}

}  // namespace trimora
