#include "toolkit/pendingOutput.h"

#include <algorithm>
#include <atomic>
#include <unistd.h>

namespace trimora {

namespace {

enum State { None, Filling, Claimed, Discarded };

// Read by a signal handler: plain storage, and a state that is set after it.
char pendingPath[4096];
std::atomic<int> state = None;
static_assert(std::atomic<int>::is_always_lock_free);

}  // namespace

void setPendingOutput(std::string const& path) {
    state = None;
    if (path.empty() || path.size() >= sizeof pendingPath)
        return;
    std::copy(path.begin(), path.end(), pendingPath);
    pendingPath[path.size()] = '\0';
    state = Filling;
}

bool claimPendingOutput() {
    int expected = Filling;
    state.compare_exchange_strong(expected, Claimed);
    return expected != Discarded;
}

bool discardPendingOutput() {
    int expected = Filling;
    if (state.compare_exchange_strong(expected, Discarded))
        unlink(pendingPath);
    return expected != Claimed;
}

}  // namespace trimora
