#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

namespace koGeom::detail {

/// Threads that share the work of one table. Each needs an int a vertex of its own, so their number is bounded.
constexpr int maxTableThreads = 8;

/// Below this many triangles or vertices waking the pool costs more than it saves.
constexpr int minPooledItems = 10000;

inline koUtil::ThreadPool& tablePool(int numItems) {
    return numItems < minPooledItems ? koUtil::ThreadPool::getSingleThreadedPool()
                                     : koUtil::ThreadPool::get();
}

/// A size of a table; tables are indexed by int, what is larger is a failed allocation.
inline int tableSize(std::int64_t size) {
    if (size > std::numeric_limits<int>::max())
        throw std::bad_array_new_length();
    return static_cast<int>(size);
}

/// Distributes the three corners (or edges) of every triangle over the vertices, keeping their order within a vertex: a
/// counting sort in which each thread counts and then places its own slice of the triangles.
///
/// Keys tells what is sorted by `static int vertex(MeshTriangle const&, int corner)` and takes the result by
/// `void place(int position, MeshTriangle const&, int triangle, int corner)`.
/// The outcome does not depend on the number of threads: a slice places its corners after those of the slices before it.
template <class Keys>
class VertexBuckets : public koUtil::ThreadedAlg {
public:
    VertexBuckets(int numVertices, MeshTriangle const* triangles, int numTriangles, Keys keys)
        : numVertices_(numVertices),
          triangles_(triangles),
          numTriangles_(numTriangles),
          keys_(keys) {}

    /// Fills `starts` (numVertices entries) with the first position of each vertex and places all corners.
    void run(int* starts) {
        koUtil::ThreadPool& pool = tablePool(numTriangles_);
        pool.run(*this);
        turnCountsIntoPositions(starts);
        counting_ = false;
        pool.run(*this);
    }

    void initialize(int numThreads) override {
        if (!counting_)
            return;
        numSlices_ = std::min(numThreads, maxTableThreads);
        positions_ = std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(numSlices_) *
                                                           static_cast<std::size_t>(numVertices_));
    }

    void execute(int threadIndex, int /*numThreads*/) override {
        if (threadIndex >= numSlices_)
            return;
        int* const positions = slicePositions(threadIndex);
        int const begin = getBeginIndex(threadIndex, numSlices_, numTriangles_);
        int const end = getBeginIndex(threadIndex + 1, numSlices_, numTriangles_);
        if (counting_)
            count(begin, end, positions);
        else
            place(begin, end, positions);
    }

private:
    int* slicePositions(int slice) {
        return positions_.get() +
               static_cast<std::size_t>(slice) * static_cast<std::size_t>(numVertices_);
    }

    void count(int begin, int end, int* counts) const {
        std::fill_n(counts, numVertices_, 0);
        for (int t = begin; t < end; ++t)
            for (int corner = 0; corner < 3; ++corner)
                ++counts[Keys::vertex(triangles_[t], corner)];
    }

    void place(int begin, int end, int* positions) {
        Keys keys = keys_;
        for (int t = begin; t < end; ++t) {
            MeshTriangle const triangle = triangles_[t];
            for (int corner = 0; corner < 3; ++corner)
                keys.place(positions[Keys::vertex(triangle, corner)]++, triangle, t, corner);
        }
    }

    void turnCountsIntoPositions(int* starts) {
        int position = 0;
        for (int v = 0; v < numVertices_; ++v) {
            starts[v] = position;
            for (int slice = 0; slice < numSlices_; ++slice) {
                int& entry = slicePositions(slice)[v];
                int const count = entry;
                entry = position;
                position += count;
            }
        }
    }

    int numVertices_;
    MeshTriangle const* triangles_;
    int numTriangles_;
    Keys keys_;
    bool counting_ = true;
    int numSlices_ = 0;
    /// One row of numVertices_ a slice: counts, then places. A slice writes its row.
    std::unique_ptr<int[]> positions_;
};

}  // namespace koGeom::detail
