#include "trimora/spatial/computeOctreeTris.h"

#include "trimora/connectivity/meshTriBoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/detail/callerContract.h"
#include "trimora/spatial/detail/BoxTriangleTest.h"
#include "trimora/spatial/detail/VoxelPartition.h"

#include <cassert>

// A triangle strictly inside the voxel of the one before it is settled by one box test; the others
// walk the tree by their boxes and are tested exactly against each voxel that they meet.

namespace koGeom {

namespace {

struct Triangles {
    MeshVertex const* vertices;
    MeshTriangle const* triangles;
    int numTriangles;

    int count() const { return numTriangles; }
    /// meshTriBoundingBox, in registers where no coordinate is NaN.
    OctreeCell boxOf(int triangle) const {
        MeshTriangle const& corners = triangles[triangle];
        __m128 const v0 = OctreeCell::loadXyz(&vertices[corners[0]].x);
        __m128 const v1 = OctreeCell::loadXyz(&vertices[corners[1]].x);
        __m128 const v2 = OctreeCell::loadXyz(&vertices[corners[2]].x);
        if (_mm_movemask_ps(_mm_or_ps(_mm_cmpunord_ps(v0, v1), _mm_cmpunord_ps(v2, v2))) == 0)
            return {_mm_min_ps(v2, _mm_min_ps(v1, v0)), _mm_max_ps(v2, _mm_max_ps(v1, v0)),
                    nullptr};
        BoundingBox box;
        box.zero();
        meshTriBoundingBox(vertices, corners, box);
        return OctreeCell(OctreeIterator{box, nullptr});
    }
    detail::BoxTriangleTest exactTest(int triangle) const {
        MeshTriangle const& corners = triangles[triangle];
        return {&vertices[corners[0]].x, &vertices[corners[1]].x, &vertices[corners[2]].x};
    }
};

using TriPartitionAlg = detail::VoxelPartition<Triangles>;

}  // namespace

void computeOctreeTris(CompactMesh const& mesh, Octree const& octree, OctreeTris& result) {
    assert(detail::hasTrianglesInRange(mesh));
    koOS::StopWatch watch;
    watch.start();
    if (octree.numVoxels < 1)
        return;

    Triangles const triangles{mesh.getVertices(), mesh.getTriangles(), mesh.getNumTriangles()};
    TriPartitionAlg alg(octree, triangles);
    koUtil::ThreadPool& pool = koUtil::ThreadPool::get();
    pool.run(alg);

    ArrayOfSets sets;
    alg.fill(sets, pool);
    OctreeTris table(sets);
    table.swap(result);

    float const count = static_cast<float>(triangles.count());
    double const seconds = watch.stop();
    debugChannel().print("OctreeTris:  Partitioned %d triangles into %d voxels in %.3f seconds.\n"
                         "             (%.2f coherence, %.2f voxels/tri, %.0f tri/sec)\n",
                         triangles.count(), octree.numVoxels, seconds,
                         static_cast<double>(static_cast<float>(alg.coherentCount()) / count),
                         static_cast<double>(static_cast<float>(alg.numPairs()) / count),
                         static_cast<double>(count) / seconds);
}

}  // namespace koGeom
