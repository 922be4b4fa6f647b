#include "trimora/contract/koUtil/Progress.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <atomic>
#include <doctest/doctest.h>
#include <limits>
#include <string>
#include <thread>
#include <vector>

using koUtil::Progress;
using koUtil::ThreadedAlg;
using koUtil::ThreadPool;

TEST_CASE("valueIsTheFractionClampedAndNaNCountsAsZero") {
    Progress progress;
    CHECK(progress.getValue() == 0.0);
    progress.set(0.25);
    CHECK(progress.getValue() == 0.25);
    progress.set(1.5);
    CHECK(progress.getValue() == 1.0);
    progress.set(-1.0);
    CHECK(progress.getValue() == 0.0);
    progress.set(0.5);
    progress.set(std::numeric_limits<double>::quiet_NaN());
    CHECK(progress.getValue() == 0.0);
    progress.set(std::numeric_limits<double>::infinity());
    CHECK(progress.getValue() == 1.0);
}

//  parent  0 .........0.5.........0.75 .... 1
//  phases  [--- 0.5 ---][-- 0.25 --][0.25 ]
//  nested     [0.5][0.5]
TEST_CASE("phasesAddUp") {
    Progress parent;
    Progress child;
    Progress grandchild;
    parent.subPhase(0.5, child);
    child.subPhase(0.5, grandchild);
    grandchild.set(0.5);
    CHECK(grandchild.getValue() == 0.5);
    CHECK(child.getValue() == 0.25);
    CHECK(parent.getValue() == 0.125);
    child.subPhase(0.5, grandchild);
    CHECK(grandchild.getValue() == 0.0);
    CHECK(parent.getValue() == 0.25);  // the first phase ended early
    grandchild.set(1.0);
    CHECK(child.getValue() == 1.0);
    CHECK(parent.getValue() == 0.5);

    parent.subPhase(0.25, child);
    CHECK(child.getValue() == 0.0);
    child.set(1.0);
    CHECK(parent.getValue() == 0.75);
    parent.subPhase(0.25, child);
    child.set(0.5);
    CHECK(parent.getValue() == 0.875);
    child.set(1.0);
    CHECK(parent.getValue() == 1.0);
}

TEST_CASE("phasesBeyondTheEndStayAtTheEnd") {
    Progress parent;
    Progress child;
    for (int i = 0; i < 4; ++i) {
        parent.subPhase(0.4, child);
        child.set(1.0);
    }
    CHECK(parent.getValue() == 1.0);
    parent.subPhase(std::numeric_limits<double>::quiet_NaN(), child);
    child.set(0.5);
    CHECK(parent.getValue() == 1.0);

    parent.set(0.0);  // a second call may start over
    parent.subPhase(-0.5, child);
    child.set(1.0);
    CHECK(parent.getValue() == 0.0);
    parent.subPhase(0.4, child);
    child.set(0.5);
    CHECK(parent.getValue() == doctest::Approx(0.2));
    parent.set(0.7);
    parent.subPhase(0.1, child);
    child.set(1.0);
    CHECK(parent.getValue() == doctest::Approx(0.8));
}

TEST_CASE("noObjectBecomesItsOwnPhase") {
    Progress parent;
    Progress child;
    parent.subPhase(1.0, child);
    parent.subPhase(0.5, parent);
    child.subPhase(0.5, parent);
    child.set(0.5);
    CHECK(parent.getValue() == 0.5);
    CHECK_FALSE(parent.cancelled());
}

TEST_CASE("cancellingReachesChildrenNowAndLaterButNotParents") {
    Progress parent;
    Progress child;
    Progress grandchild;
    parent.subPhase(0.5, child);
    child.subPhase(1.0, grandchild);
    child.cancel();
    CHECK_FALSE(parent.cancelled());
    CHECK(child.cancelled());
    CHECK(grandchild.cancelled());
    parent.cancel();
    Progress late;
    CHECK_FALSE(late.cancelled());
    parent.subPhase(0.1, late);
    CHECK(late.cancelled());
}

TEST_CASE("listenerHearsEveryChangeWithTheLatestCaption") {
    Progress parent;
    Progress child;
    std::vector<std::string> heard;
    parent.setListener([&](double value, char const* caption) {
        heard.push_back(std::string(caption) + " " + std::to_string(static_cast<int>(value * 100)));
    });
    parent.subPhase(0.5, child);
    child.setCaption("sorting");
    child.set(0.5);
    child.set(0.5);  // no change
    child.set(1.0);
    parent.setCaption(nullptr);
    parent.set(1.0);
    CHECK(heard ==
          std::vector<std::string>{"sorting 0", "sorting 25", "sorting 50", " 50", " 100"});
    parent.setListener(nullptr);
    parent.set(0.1);
    CHECK(heard.size() == 5);
}

TEST_CASE("listenerMayCancelSpeakAndReplaceItself") {
    Progress progress;
    int numCalls = 0;
    progress.setListener([&](double, char const*) {
        ++numCalls;
        progress.cancel();
        progress.setListener([&](double, char const*) { numCalls += 100; });
        progress.setCaption("again");
    });
    progress.set(0.5);
    CHECK(numCalls == 101);
    CHECK(progress.cancelled());
}

namespace {

/// Counts its slice item by item and looks at the progress every 10 items.
class CountingAlg : public ThreadedAlg {
public:
    std::vector<int> numDone;

    void initialize(int numThreads) override {
        numDone.assign(static_cast<std::size_t>(numThreads), 0);
    }
    void execute(int threadIndex, int numThreads) override {
        int const share = getBeginIndex(threadIndex + 1, numThreads, total) -
                          getBeginIndex(threadIndex, numThreads, total);
        for (int done = 0; done < share; ++done) {
            if (done % 10 == 0) {
                if (cancelled(threadIndex))
                    return;
                updateProgress(threadIndex, static_cast<double>(done) / share);
            }
            ++numDone[static_cast<std::size_t>(threadIndex)];
        }
    }

    static constexpr int total = 7000;
};

}  // namespace

TEST_CASE("workersReportThroughTheCallingThread") {
    for (int const numThreads : {1, 2, 3, 7}) {
        ThreadPool pool(numThreads);
        Progress progress;
        std::vector<double> values;
        bool foreign = false;
        auto const self = std::this_thread::get_id();
        progress.setListener([&](double value, char const*) {
            values.push_back(value);
            foreign |= std::this_thread::get_id() != self;
        });
        CountingAlg alg;
        alg.setProgress(&progress);
        pool.run(alg);
        CHECK_FALSE(foreign);
        int const share = alg.getBeginIndex(1, numThreads, CountingAlg::total);
        CHECK(values.size() ==
              static_cast<std::size_t>((share + 9) / 10 - 1));  // the first report is 0: no change
        CHECK(std::is_sorted(values.begin(), values.end()));
        int sum = 0;
        for (int const count : alg.numDone)
            sum += count;
        CHECK(sum == CountingAlg::total);
    }
}

TEST_CASE("cancelledProgressStopsWorkersAtTheirFirstLook") {
    for (int const numThreads : {1, 2, 7}) {
        ThreadPool pool(numThreads);
        Progress progress;
        progress.cancel();
        CountingAlg alg;
        alg.setProgress(&progress);
        pool.run(alg);
        CHECK(alg.numDone == std::vector<int>(static_cast<std::size_t>(numThreads), 0));

        CountingAlg unwatched;
        unwatched.setProgress(nullptr);
        pool.run(unwatched);
        CHECK(unwatched.numDone[0] > 0);
    }
}

TEST_CASE("reportsAndCancelFromManyThreadsAreSafe") {
    Progress parent;
    Progress child;
    parent.subPhase(0.5, child);
    int numHeard = 0;  // unguarded: calls of the listener come one at a time
    bool inRange = true;
    parent.setListener([&](double value, char const*) {
        ++numHeard;
        inRange &= value >= 0.0 && value <= 0.5;
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&child, t] {
            for (int i = 0; i < 500 && !child.cancelled(); ++i)
                child.set(static_cast<double>((i * 7 + t) % 100) / 100.0);
            child.cancel();
        });
    for (std::thread& thread : threads)
        thread.join();
    CHECK(child.cancelled());
    CHECK(numHeard > 0);
    CHECK(inRange);
}
