#pragma once

#include "trimora/contract/koUtil/ThreadPool.h"

namespace koUtil {

/// Does the work on the items 0 to total - 1 of a range in slices, the short form of a ThreadedChunkAlg without slots.
///
/// pool      where it runs; of a small range the single-threaded one is faster, as waking a pool takes some microseconds
/// total     up to what an int holds
/// work      work(begin, end, threadIndex) for each slice, concurrently; what it writes belongs to an item or to a thread.
///           Slices may be empty. It is not copied. What it throws reaches the caller
template <typename Count, typename Work>
void inSlices(ThreadPool& pool, Count total, Work const& work) {
    class SliceAlg final : public ThreadedChunkAlg {
    public:
        SliceAlg(int numItems, Work const& function) : numItems_(numItems), function_(function) {}
        void executeChunk(int chunk, int thread) override {
            function_(static_cast<Count>(getBeginIndex(chunk, numChunks, numItems_)),
                      static_cast<Count>(getBeginIndex(chunk + 1, numChunks, numItems_)), thread);
        }

    private:
        int numItems_;
        Work const& function_;
    };
    SliceAlg alg(static_cast<int>(total), work);
    pool.run(alg);
}

}  // namespace koUtil
