#include "trimora/contract/koGeom/Quadtree.h"

#include "trimora/contract/koGeom/detail/PointTreeBuilder.h"

namespace koGeom {

Quadtree::Quadtree(int numPoints, float const* points, BoundingBox const& box, bool usePool,
                   int maxPointsPerVoxel) {
    detail::PointTreeBuilder<2, QuadtreeNode> builder(numPoints, points, box, maxPointsPerVoxel,
                                                      depthLimit);
    builder.build(usePool);
    builder.handOver(*this, rootBox_, nodes_);
}

Quadtree::~Quadtree() = default;

}  // namespace koGeom
