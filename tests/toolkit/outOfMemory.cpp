#include "outOfMemory.h"

#include "support/failingRealloc.h"

#include <climits>
#include <doctest/doctest.h>
#include <new>

namespace outOfMemory {

namespace {

/// Calls with memory for `allowed` allocations. Returns whether std::bad_alloc came out; some calls do without what they were refused.
bool runsOut(int allowed, std::function<void()> const& call) {
    struct Enough {
        ~Enough() { support::allocationsLeft = -1; }
    };
    try {
        Enough const enough;
        support::allocationsLeft = allowed;
        call();
    } catch (std::bad_alloc const&) {
        return true;
    }
    return false;
}

/// How many allocations the call makes when it gets all of them.
int allocationsOf(Trial const& whole) {
    int count = 0;
    runsOut(INT_MAX, [&] {
        whole.call();
        count = INT_MAX - support::allocationsLeft;
    });
    return count;
}

/// Whether a try left more blocks than there were.
bool leavesBlocks(int allowed, std::function<Trial()> const& prepare) {
    long const before = support::blocksInUse;
    {
        Trial const trial = prepare();
        bool hasThrown = false;
        CHECK_NOTHROW(hasThrown = runsOut(allowed, trial.call));
        trial.judge(hasThrown);
    }
    return support::blocksInUse > before;
}

/// What is lost is lost each time; what the library keeps for a next call it keeps once.
void tryWith(int allowed, std::function<Trial()> const& prepare) {
    CAPTURE(allowed);
    bool const losesBlocks = leavesBlocks(allowed, prepare) && leavesBlocks(allowed, prepare) &&
                             leavesBlocks(allowed, prepare);
    CHECK_FALSE(losesBlocks);
}

}  // namespace

void failEverywhere(exhaustion::Tally& tally, std::function<Trial()> const& prepare) {
    // The first run makes what is made once in a process.
    int const numAllocations = (allocationsOf(prepare()), allocationsOf(prepare()));
    REQUIRE(numAllocations >= 0);
    auto const step = static_cast<int>(tally.stepOver(numAllocations));
    for (int allowed = 0; allowed < numAllocations; allowed += step)
        tryWith(allowed, prepare);
    tryWith(INT_MAX, prepare);
}

}  // namespace outOfMemory
