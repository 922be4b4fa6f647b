#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/export.h"

#include <cstdint>

namespace koGeom {

/// One node of a quadtree; the fields are those of OctreeNode, with blocks of 4 children.
struct QuadtreeNode {
    std::uint8_t isLeaf = 1;
    int firstPoint = 0;
    int endPoint = 0;
    int voxelIndex = -1;
    int childOffset = 0;

    QuadtreeNode const* children() const { return this + childOffset; }
};

/// A node and its box; a value. The box is cut in x and y alone, its z range is the root's.
struct QuadtreeIterator {
    BoundingBox box;
    QuadtreeNode const* node = nullptr;

    /// Moves to a child, 0 to 3: bit 0 chooses the upper half in x, bit 1 in y. False, with nothing
    /// changed, on a leaf, on a default iterator and for another number.
    bool descend(int child) {
        if (node == nullptr || node->isLeaf != 0 || child < 0 || child > 3)
            return false;
        for (int axis = 0; axis < 2; ++axis) {
            float const cut = octreeCut(box.bounds[axis], box.bounds[axis + 3]);
            box.bounds[(child >> axis & 1) != 0 ? axis : axis + 3] = cut;
        }
        node = node->children() + child;
        return true;
    }
};

/// Quadtree over points by their x and y: the octree's rules with 4 children a node.
class TRIMORA_API Quadtree : public ko::ReferenceCount {
public:
    static constexpr int depthLimit = Octree::depthLimit;

    /// As the octree's constructor; `points` is flat x, y, z, of which z is not looked at.
    Quadtree(int numPoints, float const* points, BoundingBox const& box, bool usePool,
             int maxPointsPerVoxel);
    ~Quadtree() override;
    Quadtree(Quadtree const&) = delete;
    Quadtree& operator=(Quadtree const&) = delete;

    QuadtreeIterator getRoot() const { return {rootBox_, nodes_.data()}; }

    ko::vector<int> pointIndices;  ///< point numbers grouped by leaf, ascending within a leaf
    int numVoxels = 0;             ///< count of leaves
    int maxDepth = 1;              ///< levels of the tree

private:
    BoundingBox rootBox_;
    ko::vector<QuadtreeNode> nodes_;
};

}  // namespace koGeom
