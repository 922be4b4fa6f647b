#pragma once

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

namespace koUtil {

/// Base of parallel algorithms: an object on the stack of an entry point, run once by a ThreadPool.
///
/// Workers write their own slice of an output or their own slot of a per-thread array, nothing else.
class TRIMORA_API ThreadedAlgBase {
public:
    ThreadedAlgBase() = default;
    virtual ~ThreadedAlgBase();

    /// Attaches a progress before the run; null means no reporting and no cancelling.
    void setProgress(Progress* progress) { progress_ = progress; }

    /// Reports that this thread has done `fraction` of its own share. Thread 0 speaks for all: its fraction is what the
    /// progress shows, the others' are dropped. It is the thread that called the pool, so listeners stay on that one.
    void updateProgress(int threadIndex, double fraction) {
        if (progress_ != nullptr && threadIndex == 0)
            progress_->set(fraction);
    }

    /// True when the attached progress was cancelled; may be called by any worker.
    bool cancelled(int /*threadIndex*/) const {
        return progress_ != nullptr && progress_->cancelled();
    }

    /// First index of slice `sliceIndex` of `numSlices` (at least 1) over `total` items; `total` for the slice past
    /// the last. The first total mod numSlices slices are one item longer; slices may be empty.
    int getBeginIndex(int sliceIndex, int numSlices, int total) const {
        int const quotient = total / numSlices;
        int const remainder = total % numSlices;
        return quotient * sliceIndex + (sliceIndex < remainder ? sliceIndex : remainder);
    }

private:
    Progress* progress_ = nullptr;
};

/// Algorithm that is cut into one slice for each thread.
class TRIMORA_API ThreadedAlg : public ThreadedAlgBase {
public:
    ~ThreadedAlg() override;
    /// Called once before the work, on the calling thread.
    virtual void initialize(int numThreads);
    /// Does slice `threadIndex` of `numThreads`; called once for each index, concurrently.
    virtual void execute(int threadIndex, int numThreads) = 0;
    /// Called once after all work, on the calling thread; not called when the work threw.
    virtual void finalize();
};

/// Algorithm that is cut into more chunks than threads, dealt out to whichever thread is free.
class TRIMORA_API ThreadedChunkAlg : public ThreadedAlgBase {
public:
    ~ThreadedChunkAlg() override;
    /// Called once before the work, on the calling thread; numChunks is set.
    virtual void initialize(int numThreads);
    /// Does chunk `chunkIndex` of `numChunks`. Results go to slots indexed by `threadIndex`, never by chunk; which thread
    /// gets which chunk differs from run to run.
    virtual void executeChunk(int chunkIndex, int threadIndex) = 0;
    /// Called once after all work, on the calling thread; not called when the work threw.
    virtual void finalize();

    /// Count of chunks of the present run: the pool's decision, at least 1.
    int numChunks = 1;
};

}  // namespace koUtil
