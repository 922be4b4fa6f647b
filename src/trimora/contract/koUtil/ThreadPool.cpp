#include "trimora/contract/koUtil/ThreadPool.h"

// A run is a Task on its caller's stack: a counter of items (slices or chunks) from which every participant takes the
// next one until none is left. The caller is a participant too and could do all the work alone, so that nothing ever waits
// for a worker to wake up, or for one that the system did not grant. A worker may touch a task only while it is counted
// as busy; the caller withdraws the task when the items have run out, and returns when nobody is busy any more.

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#ifdef __linux__
#include <sched.h>
#endif

namespace koUtil {

namespace {

constexpr int maxThreads = 1024;
constexpr int chunksPerThread = 8;  // evens out chunks of unequal cost; more only cost more dealing
constexpr int spinsBeforeSleep = 200;  // a few microseconds: runs often follow each other closely

thread_local bool insideRun = false;

class InsideRun {
public:
    InsideRun() : outer_(insideRun) { insideRun = true; }
    ~InsideRun() { insideRun = outer_; }
    InsideRun(InsideRun const&) = delete;
    InsideRun& operator=(InsideRun const&) = delete;

private:
    bool outer_;
};

#ifdef __linux__
int numUsableCores() {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    if (sched_getaffinity(0, sizeof cores, &cores) == 0 && CPU_COUNT(&cores) > 0)
        return CPU_COUNT(&cores);
    return static_cast<int>(std::thread::hardware_concurrency());
}
#else
int numUsableCores() {
    return static_cast<int>(std::thread::hardware_concurrency());
}
#endif

int chosenNumThreads(int asked) {
    return std::clamp(asked > 0 ? asked : numUsableCores(), 1, maxThreads);
}

/// Waits a moment for the condition without giving up the core.
template <typename Condition>
bool spinUntil(Condition const& condition) {
    for (int spin = 0; spin < spinsBeforeSleep; ++spin) {
        if (condition())
            return true;
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#endif
    }
    return condition();
}

/// The items of one run, shared by its participants.
class Task {
public:
    explicit Task(int numItems) : numItems_(numItems) {}
    Task(Task const&) = delete;
    Task& operator=(Task const&) = delete;

    /// Does items until there are none left. Participant 0, the caller, starts with item 0, which is kept for it.
    void participate(int participant) {
        InsideRun const inside;
        for (int item = participant == 0 ? 0 : next_.fetch_add(1); item < numItems_;
             item = next_.fetch_add(1))
            doItem(item, participant);
    }

    /// What the first item to fail threw; for the caller, when all others have left.
    std::exception_ptr const& failure() const { return failure_; }

protected:
    ~Task() = default;
    virtual void work(int item, int participant) = 0;

private:
    void doItem(int item, int participant) {
        try {
            work(item, participant);
        } catch (...) {
            next_.store(numItems_);
            if (!failed_.exchange(true))
                failure_ = std::current_exception();
        }
    }

    int const numItems_;
    std::atomic<int> next_{1};  // item 0 is the caller's
    std::atomic<bool> failed_{false};
    std::exception_ptr failure_;
};

class SliceTask final : public Task {
public:
    SliceTask(ThreadedAlg& alg, int numThreads)
        : Task(numThreads), alg_(alg), numThreads_(numThreads) {}

private:
    void work(int item, int /*participant*/) override { alg_.execute(item, numThreads_); }

    ThreadedAlg& alg_;
    int numThreads_;
};

class ChunkTask final : public Task {
public:
    explicit ChunkTask(ThreadedChunkAlg& alg) : Task(alg.numChunks), alg_(alg) {}

private:
    void work(int item, int participant) override { alg_.executeChunk(item, participant); }

    ThreadedChunkAlg& alg_;
};

}  // namespace

/// The threads of a pool and the place where they find work.
class ThreadPool::Workers {
public:
    explicit Workers(int numWorkers) : numWorkers_(numWorkers) {}
    ~Workers() { stop(); }
    Workers(Workers const&) = delete;
    Workers& operator=(Workers const&) = delete;

    /// Does the task with the workers' help and throws what it threw.
    void run(Task& task);
    /// Ends and joins the workers; later runs are done by their callers. Does nothing while a run is under way: a
    /// process that exits meanwhile has to end, and its exit may have been called from inside that run.
    void stopIfIdle();
    /// True in a forked child of the process that has the threads. Locks and conditions may be in any state there.
    bool isInherited() const {
        pid_t const owner = process_.load();
        return owner != 0 && owner != getpid();
    }

private:
    void stop();
    void start();
    void loop(int participant);
    void publish(Task* task);

    int const numWorkers_;
    std::mutex turn_;       // one run at a time
    bool started_ = false;  // guarded by turn_, like the threads
    std::vector<std::thread> threads_;
    // The one that has the threads, 0 before there are any: a forked child inherits this object without them.
    std::atomic<pid_t> process_{0};

    std::mutex mutex_;  // guards task_ and stopping_, and changes of the two counters
    std::condition_variable workThere_;
    std::condition_variable allIdle_;
    Task* task_ = nullptr;
    bool stopping_ = false;
    std::atomic<std::uint32_t> round_{0};  // counts the tasks; workers spin on it
    std::atomic<int> numBusy_{0};          // workers inside the task; the caller spins on it
};

void ThreadPool::Workers::run(Task& task) {
    if (insideRun || numWorkers_ == 0 || isInherited()) {
        task.participate(0);
    } else {
        std::lock_guard const turn(turn_);
        start();
        publish(&task);
        task.participate(0);
        publish(nullptr);
        spinUntil([this] { return numBusy_.load() == 0; });
        std::unique_lock lock(mutex_);
        allIdle_.wait(lock, [this] { return numBusy_.load() == 0; });
    }
    if (task.failure() != nullptr)
        std::rethrow_exception(task.failure());
}

void ThreadPool::Workers::publish(Task* task) {
    {
        std::lock_guard const lock(mutex_);
        task_ = task;
        if (task != nullptr)
            round_.fetch_add(1);
    }
    if (task != nullptr)
        workThere_.notify_all();
}

void ThreadPool::Workers::start() {
    if (started_)
        return;
    started_ = true;
    process_ = getpid();
    try {
        threads_.reserve(static_cast<std::size_t>(numWorkers_));
        for (int i = 0; i < numWorkers_; ++i)
            threads_.emplace_back([this, participant = i + 1] { loop(participant); });
    } catch (std::exception const&) {
        // Fewer threads or none: the caller does what they would have done.
    }
}

void ThreadPool::Workers::stopIfIdle() {
    if (insideRun || isInherited())
        return;
    std::unique_lock const turn(turn_, std::try_to_lock);
    if (turn.owns_lock())
        stop();
}

void ThreadPool::Workers::stop() {
    started_ = true;  // never again
    {
        std::lock_guard const lock(mutex_);
        stopping_ = true;
        round_.fetch_add(1);
    }
    workThere_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}

void ThreadPool::Workers::loop(int participant) {
    std::uint32_t seen = 0;
    for (;;) {
        spinUntil([&] { return round_.load() != seen; });
        std::unique_lock lock(mutex_);
        workThere_.wait(lock, [&] { return round_.load() != seen; });
        seen = round_.load();
        if (stopping_)
            return;
        if (task_ == nullptr)
            continue;  // over before this thread was awake

        Task& task = *task_;
        numBusy_.fetch_add(1);
        lock.unlock();
        task.participate(participant);
        lock.lock();
        if (numBusy_.fetch_sub(1) == 1)
            allIdle_.notify_one();
    }
}

ThreadPool::ThreadPool(int askedNumThreads)
    : numThreads(chosenNumThreads(askedNumThreads)),
      workers_(std::make_unique<Workers>(numThreads - 1)) {}

ThreadPool::~ThreadPool() {
    if (workers_->isInherited())
        static_cast<void>(
            workers_.release());  // there is nobody to join, and waiting would not end
}

void ThreadPool::run(ThreadedChunkAlg& alg) {
    alg.numChunks = chunksPerThread * numThreads;
    alg.initialize(numThreads);
    ChunkTask task(alg);
    workers_->run(task);
    alg.finalize();
}

void ThreadPool::run(ThreadedAlg& alg) {
    alg.initialize(numThreads);
    SliceTask task(alg, numThreads);
    workers_->run(task);
    alg.finalize();
}

namespace {

std::atomic<ThreadPool*> sharedPool{nullptr};

}  // namespace

ThreadPool& ThreadPool::get() {
    ThreadPool* const pool = sharedPool.load();
    if (pool != nullptr)
        return *pool;

    // The pool itself is never destroyed, so that destructors which run at exit can still use it; only its threads end.
    struct JoinAtExit {
        ThreadPool& pool;
        ~JoinAtExit() { pool.workers_->stopIfIdle(); }
    };
    static ThreadPool& defaultPool = *new ThreadPool;
    static JoinAtExit const joinAtExit{defaultPool};
    return defaultPool;
}

ThreadPool& ThreadPool::getSingleThreadedPool() {
    static ThreadPool& pool = *new ThreadPool(1);
    return pool;
}

void ThreadPool::setShared(ThreadPool* pool) {
    sharedPool.store(pool);
}

}  // namespace koUtil
