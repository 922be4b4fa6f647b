#include "trimora/spatial/meshOctreeLines.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/detail/callerContract.h"
#include "trimora/spatial/detail/VoxelPartition.h"
#include "trimora/spatial/intersects.h"

#include <cassert>

// As computeOctreeTris, with the box and the exact test of a segment.

namespace koGeom {

namespace {

struct SegmentTest {
    float const* start;
    float const* end;

    bool overlaps(__m128 lower, __m128 upper) const {
        return intersects(OctreeCell(lower, upper, nullptr).box(), start, end);
    }
};

struct Lines {
    MeshVertex const* vertices;
    MeshLine const* lines;
    int numLines;

    int count() const { return numLines; }
    OctreeCell boxOf(int line) const {
        BoundingBox box(&vertices[lines[line][0]].x, 0.0f);
        box.extend(vertices[lines[line][1]].asPointFlt());
        return OctreeCell(OctreeIterator{box, nullptr});
    }
    SegmentTest exactTest(int line) const {
        return {&vertices[lines[line][0]].x, &vertices[lines[line][1]].x};
    }
};

using LinePartitionAlg = detail::VoxelPartition<Lines>;

}  // namespace

void meshOctreeLines(CompactMesh const& mesh, Octree const& octree, OctreeLines& result) {
    assert(detail::hasLinesInRange(mesh));
    koOS::StopWatch watch;
    watch.start();
    if (octree.numVoxels < 1)
        return;

    Lines const lines{mesh.getVertices(), mesh.getLines(), mesh.getNumLines()};
    LinePartitionAlg alg(octree, lines);
    koUtil::ThreadPool& pool = koUtil::ThreadPool::get();
    pool.run(alg);

    ArrayOfSets sets;
    alg.fill(sets, pool);
    OctreeLines table(sets);
    table.swap(result);

    float const count = static_cast<float>(lines.count());
    double const seconds = watch.stop();
    debugChannel().print("OctreeLines:  Partitioned %d lines into %d voxels in %.3f seconds.\n"
                         "             (%.2f coherence, %.2f duplication, %.0f tri/sec)\n",
                         lines.count(), octree.numVoxels, seconds,
                         static_cast<double>(static_cast<float>(alg.coherentCount()) / count),
                         static_cast<double>(static_cast<float>(alg.numPairs()) / count),
                         static_cast<double>(count) / seconds);
}

}  // namespace koGeom
