#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/spatial/OctreeStackWalk.h"

#include <cstddef>
#include <limits>
#include <new>
#include <utility>

namespace koGeom::detail {

/// The way from the root down to the deepest inner node whose box strictly holds the box asked for
/// last. All leaves that overlap or touch a box strictly inside a node lie below that node, so a
/// search may begin there; consecutive elements of a mesh mostly share it.
class OctreeAncestors {
public:
    explicit OctreeAncestors(OctreeCell const& root) { levels_[0] = root; }

    /// The deepest inner node that strictly holds the box; the root when there is none.
    OctreeCell const& above(OctreeCell const& box) {
        while (depth_ > 0 && !holds(levels_[depth_], box))
            --depth_;
        while (levels_[depth_].node->isLeaf == 0) {
            OctreeSplit const split(levels_[depth_]);
            OctreeCell const child =
                split.child(_mm_movemask_ps(_mm_cmpgt_ps(box.lower, split.cut)));
            if (child.node->isLeaf != 0 || !holds(child, box))
                break;
            levels_[++depth_] = child;
        }
        return levels_[depth_];
    }

    /// BoundingBox::isStrictlyInside, without branches on the way.
    static bool holds(OctreeCell const& outer, OctreeCell const& box) {
        __m128 const inside =
            _mm_and_ps(_mm_cmpgt_ps(box.lower, outer.lower), _mm_cmpgt_ps(outer.upper, box.upper));
        return _mm_movemask_ps(inside) == 7;
    }

private:
    OctreeCell levels_[Octree::depthLimit];
    int depth_ = 0;
};

/// Finds the leaf voxels that each element of a mesh touches; one run on a pool.
///
/// An Elements type offers
///   int count() const
///   OctreeCell boxOf(int) const   its bounds; the node is not looked at
///   auto exactTest(int) const     an object whose overlaps(lower, upper) tests a box in registers
///
/// Each worker keeps a contiguous ascending range, so the records in worker order list the elements
/// in ascending order, whatever the number of workers.
template <class Elements>
class VoxelPartition : public koUtil::ThreadedAlg {
public:
    VoxelPartition(Octree const& octree, Elements const& elements)
        : octree_(octree), elements_(elements) {}

    void initialize(int numThreads) override {
        records_.resize(static_cast<std::size_t>(numThreads));
    }

    void execute(int threadIndex, int numThreads) override {
        Record record;  // handed over once: neighbouring slots share cache lines
        record.pairs.reserve(2 * static_cast<std::size_t>(elements_.count()) /
                             static_cast<std::size_t>(numThreads));
        OctreeStackWalk walk(octree_);
        OctreeAncestors ancestors{OctreeCell(octree_.getRoot())};
        OctreeCell lastVoxel{OctreeIterator()};
        int const end = getBeginIndex(threadIndex + 1, numThreads, elements_.count());
        for (int i = getBeginIndex(threadIndex, numThreads, elements_.count()); i < end; ++i) {
            OctreeCell const box = elements_.boxOf(i);
            if (OctreeAncestors::holds(lastVoxel, box)) {
                record.pairs.push_back({lastVoxel.node->voxelIndex, i});
                ++record.coherentCount;
                continue;
            }
            auto const exactTest = elements_.exactTest(i);
            OctreeBoxFilter const filter(box.lower, box.upper);
            for (walk.startAt(ancestors.above(box), filter); walk.valid(); walk.next(filter)) {
                lastVoxel = walk.top();
                // What lies strictly inside needs no test, whoever came before: numbers that are
                // not finite may fail it, and the table must not depend on the order of the work.
                if (exactTest.overlaps(lastVoxel.lower, lastVoxel.upper) ||
                    OctreeAncestors::holds(lastVoxel, box))
                    record.pairs.push_back({lastVoxel.node->voxelIndex, i});
            }
        }
        record.countVoxels(octree_.numVoxels);
        records_[static_cast<std::size_t>(threadIndex)] = std::move(record);
    }

    /// The table from voxels to elements: ArrayOfSets::assignFromPairs of all records in worker
    /// order, each worker dropping its own pairs into its own places. To be called after the run.
    void fill(ArrayOfSets& sets, koUtil::ThreadPool& pool) {
        ArrayOfSets filled(octree_.numVoxels, 0);
        int* const starts = filled.starts.data();
        requireCountable();
        for (int voxel = 0; voxel < octree_.numVoxels; ++voxel) {
            starts[voxel] = numPairs_;
            for (Record& record : records_)
                numPairs_ +=
                    std::exchange(record.places[static_cast<std::size_t>(voxel)], numPairs_);
        }
        for (Record const& record : records_)
            coherentCount_ += record.coherentCount;
        filled.items.setSize(numPairs_);
        FillAlg alg(records_, filled.items.data());
        pool.run(alg);
        sets.swap(filled);
    }

    int numPairs() const { return numPairs_; }
    int coherentCount() const { return coherentCount_; }

private:
    struct Pair {
        int voxel;
        int element;
    };
    struct Record {
        ko::vector<Pair> pairs;
        ko::vector<int> places;  ///< pairs of each voxel; then the place of its next one
        int coherentCount = 0;   ///< elements strictly inside the voxel of the one before

        void countVoxels(int numVoxels) {
            places.assign(static_cast<std::size_t>(numVoxels), 0);
            for (Pair const& pair : pairs)
                ++places[static_cast<std::size_t>(pair.voxel)];
        }
        void fill(int* items) {
            for (Pair const& pair : pairs)
                items[places[static_cast<std::size_t>(pair.voxel)]++] = pair.element;
        }
    };

    class FillAlg final : public koUtil::ThreadedAlg {
    public:
        FillAlg(ko::vector<Record>& records, int* items) : records_(records), items_(items) {}
        void execute(int threadIndex, int numThreads) override {
            int const count = static_cast<int>(records_.size());
            int const end = getBeginIndex(threadIndex + 1, numThreads, count);
            for (int i = getBeginIndex(threadIndex, numThreads, count); i < end; ++i)
                records_[static_cast<std::size_t>(i)].fill(items_);
        }

    private:
        ko::vector<Record>& records_;
        int* const items_;  ///< shared: every pair has a place of its own
    };

    /// A table of more entries than an int counts cannot be had.
    void requireCountable() const {
        std::size_t total = 0;
        for (Record const& record : records_)
            total += record.pairs.size();
        if (total > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            throw std::bad_alloc();
    }

    Octree const& octree_;
    Elements const& elements_;
    ko::vector<Record> records_;  ///< one a worker
    int numPairs_ = 0;
    int coherentCount_ = 0;
};

}  // namespace koGeom::detail
