#pragma once

#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/export.h"

#include <memory>

namespace koUtil {

/// Runs parallel algorithms on threads that it keeps.
///
/// A run calls initialize, then the work concurrently, then finalize, and returns when all is done. The calling thread
/// takes part: it is thread 0 of a chunked algorithm and does slice 0 of the others. Workers start with the first run and
/// sleep between runs; where the system gives fewer threads than asked for, those there are do all the work.
/// errors    what the work throws, std::bad_alloc as a rule, reaches the caller of run, of several the first one; work
///           not yet begun is then left out, finalize is not called, and the pool stays usable
/// threads   callers take turns; a run from inside a run, on whichever pool, is done by the calling thread alone,
///           with the same numThreads
class TRIMORA_API ThreadPool {
public:
    /// A pool of numThreads threads, the caller's included; 0 or less for one for each core that the process may use.
    /// At most 1024.
    explicit ThreadPool(int numThreads = 0);
    /// Joins the workers. No run may be under way.
    virtual ~ThreadPool();
    ThreadPool(ThreadPool const&) = delete;
    ThreadPool& operator=(ThreadPool const&) = delete;

    /// Deals out 8 chunks a thread.
    virtual void run(ThreadedChunkAlg& alg);
    virtual void run(ThreadedAlg& alg);

    /// The process's shared pool: the one that was set, else a default one with a thread for each core.
    static ThreadPool& get();
    /// Runs everything on the calling thread; numThreads is 1.
    static ThreadPool& getSingleThreadedPool();
    /// Makes `pool` the shared one; null restores the default. Not owned: keep it until another one is set and no run
    /// on it is under way.
    static void setShared(ThreadPool* pool);

    int const numThreads;

private:
    class Workers;
    std::unique_ptr<Workers> workers_;
};

}  // namespace koUtil
