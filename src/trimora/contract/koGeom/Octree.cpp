#include "trimora/contract/koGeom/Octree.h"

#include "trimora/contract/koGeom/detail/PointTreeBuilder.h"

// The tree is built in bulk (see PointTreeBuilder): every split deals a contiguous range of points out to the eight children,
// so building costs one pass over the points a level and the point numbers come out grouped by leaf.

namespace koGeom {

Octree::Octree(int numPoints, float const* points, BoundingBox const& box, bool usePool,
               int maxPointsPerVoxel) {
    detail::PointTreeBuilder<3, OctreeNode> builder(numPoints, points, box, maxPointsPerVoxel,
                                                    depthLimit);
    builder.build(usePool);
    builder.handOver(*this, rootBox_, nodes_);
}

Octree::~Octree() = default;

void Octree::getNodeOrdering(Vector const& direction, int order[8]) {
    int const flip =
        (direction.x < 0.0 ? 1 : 0) | (direction.y < 0.0 ? 2 : 0) | (direction.z < 0.0 ? 4 : 0);
    for (int k = 0; k < 8; ++k)
        order[k] = k ^ flip;
}

}  // namespace koGeom
