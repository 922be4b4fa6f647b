#include "trimora/contract/koGeom/Quadtree.h"

#include "trimora/contract/koGeom/detail/PointTreeBuilder.h"

namespace koGeom {

Quadtree::Quadtree(int numPoints, float const* points, BoundingBox const& box, bool usePool,
                   int maxPointsPerVoxel) {
    if (numPoints <= 0 || points == nullptr) {
        nodes_.resize(1);
        nodes_[0].voxelIndex = 0;
        return;
    }
    detail::PointTreeBuilder<2, QuadtreeNode> builder(numPoints, points, box, maxPointsPerVoxel,
                                                      depthLimit);
    builder.build(usePool);
    rootBox_ = builder.rootBox();
    nodes_.swap(builder.nodes());
    pointIndices.swap(builder.pointIndices());
    numVoxels = builder.numVoxels();
    maxDepth = builder.depth();
}

Quadtree::~Quadtree() = default;

}  // namespace koGeom
