// Picking through the vertex octree: walk the voxels that the frustum meets, front to back; try the
// triangles around each of their vertices once; stop at the first that the central ray meets.

#include "trimora/spatial/meshRayIntersect.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"
#include "trimora/spatial/intersectRayTriangle.h"
#include "trimora/spatial/octreeIterators.h"

#include <cassert>

namespace koGeom {

namespace {

class FrustumPick {
public:
    FrustumPick(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                Frustum const& frustum)
        : mesh_(mesh),
          octree_(octree),
          adjTris_(adjTris),
          ray_(frustum.getRay()),
          voxels_(octree, frustum),
          metVertices_(mesh.getNumVertices()),
          metTriangles_(mesh.getNumTriangles()) {}

    // Number of the first triangle met, or -1.
    int find(PointFlt& hit);

private:
    int tryVoxel(OctreeNode const& voxel, PointFlt& hit);
    int tryVertex(int vertex, PointFlt& hit);

    CompactMesh const& mesh_;
    Octree const& octree_;
    MeshAdjTris const& adjTris_;
    Line const ray_;
    OctreeIntersectIt voxels_;
    BitVector metVertices_;
    BitVector metTriangles_;
};

int FrustumPick::find(PointFlt& hit) {
    int found = -1;
    for (; found < 0 && voxels_.valid(); voxels_.next())
        found = tryVoxel(*voxels_.get().node, hit);
    return found;
}

int FrustumPick::tryVoxel(OctreeNode const& voxel, PointFlt& hit) {
    for (int i = voxel.firstPoint; i < voxel.endPoint; ++i) {
        int const vertex = octree_.pointIndices[static_cast<std::size_t>(i)];
        if (metVertices_.isBitSet(vertex) != 0)
            continue;
        metVertices_.setBit(vertex);
        int const found = tryVertex(vertex, hit);
        if (found >= 0)
            return found;
    }
    return -1;
}

int FrustumPick::tryVertex(int vertex, PointFlt& hit) {
    int const* const around = adjTris_.triIndices(vertex);
    for (int i = 0; i < adjTris_.numTris(vertex); ++i) {
        if (metTriangles_.isBitSet(around[i]) != 0)
            continue;
        metTriangles_.setBit(around[i]);
        if (meshRayTriIntersect(mesh_, around[i], ray_, hit))
            return around[i];
    }
    return -1;
}

}  // namespace

bool meshRayTriIntersect(CompactMesh const& mesh, int tri, Line const& ray, PointFlt& hit) {
    assert(detail::isInRange(tri, mesh.getNumTriangles()));
    float const* const vertices = mesh.getVerticesRaw();
    int const* const corners = mesh.getTrianglesRaw() + 3 * static_cast<std::ptrdiff_t>(tri);
    PointFlt const origin(ray.origin);
    Vector const direction(ray.direction);
    double t = 0.0;
    double u = 0.0;
    double v = 0.0;
    bool const met = intersectRayTriangle(
        &direction.x, &origin.x, vertices + 3 * static_cast<std::ptrdiff_t>(corners[0]),
        vertices + 3 * static_cast<std::ptrdiff_t>(corners[1]),
        vertices + 3 * static_cast<std::ptrdiff_t>(corners[2]), t, u, v);
    if (met)
        hit = PointFlt(ray.eval(t));
    return met;
}

bool meshRayTriIntersect(CompactMesh const& mesh, int tri, Line const& ray, Point& hit) {
    PointFlt narrow;
    bool const met = meshRayTriIntersect(mesh, tri, ray, narrow);
    if (met)
        hit = Point(narrow);
    return met;
}

bool meshRayIntersect(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                      Frustum const& frustum, PointFlt& hit, int* tri) {
    assert(detail::countsMatch(octree, mesh) && detail::countsMatch(adjTris, mesh));
    koOS::StopWatch watch;
    watch.start();
    FrustumPick pick(mesh, octree, adjTris, frustum);
    int const found = pick.find(hit);
    if (found < 0) {
        debugChannel().print("meshRayIntersect:  no intersection %f s\n", watch.clear());
        return false;
    }
    if (tri != nullptr)
        *tri = found;
    debugChannel().print("meshRayIntersect:  (%f,%f,%f) %f s\n", static_cast<double>(hit.x),
                         static_cast<double>(hit.y), static_cast<double>(hit.z), watch.clear());
    return true;
}

}  // namespace koGeom
