#include "toolkit/pendingOutput.h"

#include <atomic>
#include <unistd.h>

namespace trimora {

namespace {

enum State { None, Filling, Claimed, Discarded };

struct PendingPath {
    std::string const path;
    PendingPath* const next;
};

// Read by a signal handler: the list only grows while the state is Filling, and for good once somebody may have read it.
std::atomic<PendingPath*> pendingPaths = nullptr;
std::atomic<int> state = None;
std::atomic<bool> isListRead = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free &&
              std::atomic<PendingPath*>::is_always_lock_free);

}  // namespace

void addPendingOutput(std::string const& path) {
    if (state == Claimed)
        forgetPendingOutputs();
    pendingPaths = new PendingPath{path, pendingPaths};
    int expected = None;  // what was discarded stays so: the process is ending
    state.compare_exchange_strong(expected, Filling);
}

void forgetPendingOutputs() {
    state = None;
    if (isListRead)
        return;
    PendingPath* path = pendingPaths.exchange(nullptr);
    while (path != nullptr) {
        PendingPath* const next = path->next;
        delete path;
        path = next;
    }
}

bool claimPendingOutputs() {
    int expected = Filling;
    state.compare_exchange_strong(expected, Claimed);
    return expected != Discarded;
}

bool discardPendingOutputs() {
    isListRead = true;
    int expected = Filling;
    if (state.compare_exchange_strong(expected, Discarded)) {
        for (PendingPath const* path = pendingPaths; path != nullptr; path = path->next)
            unlink(path->path.c_str());
    }
    return expected != Claimed;
}

}  // namespace trimora
