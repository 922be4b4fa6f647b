#include "trimora/contract/koUtil/ThreadPool.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <doctest/doctest.h>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using koUtil::ThreadedAlg;
using koUtil::ThreadedChunkAlg;
using koUtil::ThreadPool;

namespace {

/// Records who was called with what.
class RecordingAlg : public ThreadedAlg {
public:
    std::function<void(int)> body = [](int) {};
    std::vector<int> calls;  // per slice
    std::vector<int> numThreadsSeen;
    std::vector<std::thread::id> threads;
    int initialized = 0;
    int finalized = 0;
    std::thread::id frame[2];

    void initialize(int numThreads) override {
        ++initialized;
        frame[0] = std::this_thread::get_id();
        calls.assign(static_cast<std::size_t>(numThreads), 0);
        numThreadsSeen.assign(calls.size(), 0);
        threads.assign(calls.size(), {});
    }
    void execute(int threadIndex, int numThreads) override {
        auto const slot = static_cast<std::size_t>(threadIndex);
        ++calls.at(slot);
        numThreadsSeen[slot] = numThreads;
        threads[slot] = std::this_thread::get_id();
        body(threadIndex);
    }
    void finalize() override {
        ++finalized;
        frame[1] = std::this_thread::get_id();
    }
};

class RecordingChunkAlg : public ThreadedChunkAlg {
public:
    std::function<void(int)> body = [](int) {};
    std::vector<int> chunkCalls;
    std::vector<std::set<std::thread::id>> threadsOfSlot;
    int finalized = 0;

    void initialize(int numThreads) override {
        chunkCalls.assign(static_cast<std::size_t>(numChunks), 0);
        threadsOfSlot.assign(static_cast<std::size_t>(numThreads), {});
    }
    void executeChunk(int chunkIndex, int threadIndex) override {
        ++chunkCalls.at(static_cast<std::size_t>(chunkIndex));
        threadsOfSlot.at(static_cast<std::size_t>(threadIndex)).insert(std::this_thread::get_id());
        body(chunkIndex);
    }
    void finalize() override { ++finalized; }
};

/// Waits for the condition; false after ten seconds.
template <typename Condition>
bool waitFor(Condition const& condition) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace

TEST_CASE("slicesCoverTheRangeAndTheFirstOnesAreLonger") {
    RecordingAlg alg;
    // 11 items, 4 slices: 3 3 3 2
    int const expected[] = {0, 3, 6, 9, 11};
    for (int i = 0; i <= 4; ++i)
        CHECK(alg.getBeginIndex(i, 4, 11) == expected[i]);
    // 2 items, 5 slices: 1 1 0 0 0
    int const scarce[] = {0, 1, 2, 2, 2, 2};
    for (int i = 0; i <= 5; ++i)
        CHECK(alg.getBeginIndex(i, 5, 2) == scarce[i]);

    for (int numSlices = 1; numSlices <= 9; ++numSlices)
        for (int total = 0; total <= 40; ++total)
            for (int i = 0; i < numSlices; ++i) {
                int const length = alg.getBeginIndex(i + 1, numSlices, total) -
                                   alg.getBeginIndex(i, numSlices, total);
                REQUIRE(length == total / numSlices + (i < total % numSlices ? 1 : 0));
            }
    CHECK(alg.getBeginIndex(0, 7, 2147483647) == 0);
    CHECK(alg.getBeginIndex(7, 7, 2147483647) == 2147483647);
}

TEST_CASE("runDoesEverySliceOnceBetweenInitializeAndFinalize") {
    for (int const numThreads : {1, 2, 3, 7}) {
        ThreadPool pool(numThreads);
        CHECK(pool.numThreads == numThreads);
        for (int round = 0; round < 50; ++round) {
            RecordingAlg alg;
            alg.body = [&](int) {
                if (alg.initialized != 1 || alg.finalized != 0)
                    throw std::logic_error("out of order");
            };
            pool.run(alg);
            CHECK(alg.finalized == 1);
            CHECK(alg.calls == std::vector<int>(static_cast<std::size_t>(numThreads), 1));
            CHECK(alg.numThreadsSeen ==
                  std::vector<int>(static_cast<std::size_t>(numThreads), numThreads));
            CHECK(alg.frame[0] == std::this_thread::get_id());
            CHECK(alg.frame[1] == std::this_thread::get_id());
            CHECK(alg.threads[0] == std::this_thread::get_id());
        }
    }
}

TEST_CASE("runDealsEveryChunkOnceAndASlotBelongsToOneThread") {
    for (int const numThreads : {1, 2, 3, 7}) {
        ThreadPool pool(numThreads);
        RecordingChunkAlg alg;
        alg.body = [](int) { std::this_thread::sleep_for(std::chrono::microseconds(200)); };
        pool.run(alg);
        CHECK(alg.numChunks == 8 * numThreads);
        CHECK(alg.chunkCalls == std::vector<int>(static_cast<std::size_t>(alg.numChunks), 1));
        CHECK(alg.finalized == 1);
        for (auto const& threads : alg.threadsOfSlot)
            CHECK(threads.size() <= 1);
        CHECK(alg.threadsOfSlot[0].count(std::this_thread::get_id()) == 1);
    }
}

TEST_CASE("slicesRunConcurrently") {
    ThreadPool pool(3);
    std::atomic<int> inside{0};
    std::atomic<int> numMet{0};
    RecordingAlg alg;
    alg.body = [&](int) {
        inside.fetch_add(1);
        numMet.fetch_add(waitFor([&] { return inside.load() == 3; }));
    };
    pool.run(alg);
    CHECK(numMet == 3);
}

TEST_CASE("workersAreKeptFromRunToRun") {
    ThreadPool pool(3);
    std::set<std::thread::id> all;
    for (int round = 0; round < 30; ++round) {
        RecordingAlg alg;
        std::atomic<int> inside{0};
        alg.body = [&](int) {
            inside.fetch_add(1);
            waitFor([&] { return inside.load() == 3; });
        };
        pool.run(alg);
        all.insert(alg.threads.begin(), alg.threads.end());
    }
    CHECK(all.size() == 3);
}

TEST_CASE("whatWorkersThrowReachesTheCallerAndThePoolStaysUsable") {
    for (int const numThreads : {1, 2, 7}) {
        ThreadPool pool(numThreads);
        for (int thrower = 0; thrower < numThreads; ++thrower) {
            RecordingAlg alg;
            alg.body = [&](int i) {
                if (i == thrower)
                    throw std::bad_alloc();
            };
            CHECK_THROWS_AS(pool.run(alg), std::bad_alloc);
            CHECK(alg.finalized == 0);

            RecordingChunkAlg chunks;
            chunks.body = [&](int i) {
                if (i >= thrower)
                    throw std::bad_alloc();
            };
            CHECK_THROWS_AS(pool.run(chunks), std::bad_alloc);
            CHECK(chunks.finalized == 0);

            RecordingAlg next;
            pool.run(next);
            CHECK(next.finalized == 1);
        }

        struct FailingStart : RecordingAlg {
            void initialize(int) override { throw std::bad_alloc(); }
        } failing;
        CHECK_THROWS_AS(pool.run(failing), std::bad_alloc);
        CHECK(failing.finalized == 0);
    }
}

TEST_CASE("failureLeavesOutWorkThatHasNotBegun") {
    ThreadPool pool(1);
    RecordingChunkAlg alg;
    alg.body = [](int i) {
        if (i == 2)
            throw std::runtime_error("chunk 2");
    };
    CHECK_THROWS_WITH_AS(pool.run(alg), "chunk 2", std::runtime_error);
    CHECK(alg.chunkCalls == std::vector<int>{1, 1, 1, 0, 0, 0, 0, 0});
}

TEST_CASE("concurrentCallersTakeTurns") {
    ThreadPool pool(3);
    std::mutex mutex;
    void const* owner = nullptr;
    int numInside = 0;
    bool overlapped = false;
    std::atomic<int> numSlices{0};

    auto const caller = [&] {
        for (int round = 0; round < 100; ++round) {
            RecordingAlg alg;
            alg.body = [&](int) {
                {
                    std::lock_guard const lock(mutex);
                    overlapped |= numInside > 0 && owner != &alg;
                    owner = &alg;
                    ++numInside;
                }
                numSlices.fetch_add(1);
                std::lock_guard const lock(mutex);
                --numInside;
            };
            pool.run(alg);
        }
    };
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i)
        callers.emplace_back(caller);
    for (std::thread& thread : callers)
        thread.join();
    CHECK_FALSE(overlapped);
    CHECK(numSlices == 4 * 100 * 3);
}

TEST_CASE("runFromInsideARunIsDoneByTheCallingThreadAlone") {
    ThreadPool pool(2);
    ThreadPool otherPool(3);
    std::atomic<int> numGood{0};
    RecordingAlg outer;
    outer.body = [&](int) {
        for (ThreadPool* const inner : {&pool, &otherPool}) {
            RecordingAlg alg;
            inner->run(alg);
            bool const alone = std::set(alg.threads.begin(), alg.threads.end()).size() == 1;
            bool const all =
                alg.calls == std::vector<int>(static_cast<std::size_t>(inner->numThreads), 1);
            numGood.fetch_add(alone && all && alg.finalized == 1);
        }
    };
    pool.run(outer);
    CHECK(numGood == 4);
}

TEST_CASE("sharedPoolIsTheOneThatWasSetElseADefaultOne") {
    ThreadPool& original = ThreadPool::get();
    CHECK(original.numThreads == ThreadPool(0).numThreads);
    CHECK(original.numThreads >= 1);
    {
        ThreadPool pool(5);
        ThreadPool::setShared(&pool);
        CHECK(&ThreadPool::get() == &pool);
        ThreadPool::setShared(nullptr);
    }
    CHECK(&ThreadPool::get() == &original);
    CHECK(ThreadPool(-3).numThreads == original.numThreads);
    CHECK(ThreadPool(1 << 30).numThreads == 1024);

    ThreadPool& single = ThreadPool::getSingleThreadedPool();
    CHECK(single.numThreads == 1);
    CHECK(&single == &ThreadPool::getSingleThreadedPool());
    RecordingAlg alg;
    single.run(alg);
    CHECK(alg.threads == std::vector{std::this_thread::get_id()});
}

TEST_CASE("poolsComeAndGoWithAndWithoutWork") {
    for (int i = 0; i < 50; ++i) {
        ThreadPool pool(1 + i % 5);
        RecordingAlg alg;
        if (i % 3 != 0)
            pool.run(alg);
        CHECK(alg.finalized == (i % 3 != 0 ? 1 : 0));
    }
}

// A forked child inherits the pool without its threads and does the work by itself.
TEST_CASE("forkedChildCanRun") {
    RecordingAlg before;
    ThreadPool::get().run(before);
    ThreadPool own(3);
    own.run(before);
    auto passing = std::make_unique<ThreadPool>(3);
    passing->run(before);

    std::fflush(nullptr);  // else both processes write what is buffered
    pid_t const child = fork();
    REQUIRE(child >= 0);
    if (child == 0) {
        RecordingAlg alg;
        ThreadPool::get().run(alg);
        own.run(alg);
        passing.reset();  // without threads to wait for
        _exit(alg.finalized == 2 ? 0 : 1);
    }
    int status = -1;
    bool const ended = waitFor([&] { return waitpid(child, &status, WNOHANG) == child; });
    if (!ended)
        kill(child, SIGKILL);
    CHECK(ended);
    CHECK(WIFEXITED(status));
    CHECK(WEXITSTATUS(status) == 0);
}
