#pragma once

#include "exhaustion.h"

#include "trimora/contract/koUtil/ThreadPool.h"

#include <functional>

/// Memory runs out at the first allocation of a call, at the second and so on to the last: nothing but std::bad_alloc may leave it (or
/// its outcome tells), and no block may be lost. Once memory has run out it stays so until the call is left, so that what cleans up has
/// none either.
namespace outOfMemory {

/// What one call needs, made with all memory.
struct Trial {
    std::function<void()> call;
    std::function<void(bool hasThrown)> judge;  ///< looks at what the call has left
};

/// Has each allocation of a call fail in turn.
///
/// prepare   makes a trial anew for each; whatever it made is gone with the trial
void failEverywhere(exhaustion::Tally& tally, std::function<Trial()> const& prepare);

/// Everything on this thread, whose allocations are counted.
struct OneThread {
    OneThread() { koUtil::ThreadPool::setShared(&pool); }
    ~OneThread() { koUtil::ThreadPool::setShared(nullptr); }
    koUtil::ThreadPool pool{1};
};

}  // namespace outOfMemory
