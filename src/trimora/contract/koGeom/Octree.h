#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/export.h"

#include <cstdint>

namespace koGeom {

/// One node of an octree. A node's points are those of all leaves below it: they are contiguous in
/// the order of the leaves.
struct OctreeNode {
    std::uint8_t isLeaf = 1;  ///< non-zero on a leaf voxel
    int firstPoint = 0;       ///< first position of its points in Octree::pointIndices
    int endPoint = 0;         ///< one past the last such position
    int voxelIndex = -1;      ///< number of the leaf voxel; -1 on an inner node
    int childOffset = 0;      ///< records from here to the block of its 8 children; 0 on a leaf

    OctreeNode const* children() const { return this + childOffset; }
};

/// Where a node's box is cut on one axis: in the middle (computed in double), or at the upper bound
/// when the middle is no float strictly between the bounds. Positions up to the cut belong to the
/// lower half.
inline float octreeCut(float lower, float upper) {
    float const middle = static_cast<float>((static_cast<double>(lower) + upper) * 0.5);
    return middle > lower && middle < upper ? middle : upper;
}

/// A node and its box; a value. Boxes are not stored in the tree: they follow from the parent's on
/// the way down, so that neighbours share the floats of their common face.
struct OctreeIterator {
    BoundingBox box;
    OctreeNode const* node = nullptr;

    /// Moves to a child, 0 to 7: bit 0 chooses the upper half in x, bit 1 in y, bit 2 in z. False,
    /// with nothing changed, on a leaf, on a default iterator and for another number.
    bool descend(int child) {
        if (node == nullptr || node->isLeaf != 0 || child < 0 || child > 7)
            return false;
        for (int axis = 0; axis < 3; ++axis) {
            float const cut = octreeCut(box.bounds[axis], box.bounds[axis + 3]);
            box.bounds[(child >> axis & 1) != 0 ? axis : axis + 3] = cut;
        }
        node = node->children() + child;
        return true;
    }
};

/// Octree over points: each point lies in exactly one leaf, the leaves tile the root's box.
///
/// shape       an inner node has all 8 children; empty ones are leaves with voxel numbers like the
///             others
/// order       leaves are numbered depth first, children ascending; pointIndices lists the points
///             leaf by leaf in that order, ascending within a leaf
/// lifetime    immutable once built; the points are not kept. Read by any number of threads at once
class TRIMORA_API Octree : public ko::ReferenceCount {
public:
    /// Greatest number of levels; a lone root is one level.
    static constexpr int depthLimit = 20;

    /// Builds the tree.
    ///
    /// numPoints   0 or less gives a tree of no voxels: a leaf root with an invalid box
    /// points      flat x, y, z; read during the call only. A NaN coordinate falls into the lower
    ///             half; points outside the box fall where the cuts put them
    /// box         the box of the root; an axis without thickness is padded upward by one float step
    /// usePool     true runs on the shared pool, false on the calling thread alone; the same tree
    /// maxPointsPerVoxel
    ///             leaf capacity, at least 1. A leaf holds more only where its points coincide,
    ///             where no middle separates any more, and at the depth limit
    /// cost        O(n depth) time, 33 bytes of scratch a point; the tree does not depend on the
    ///             number of threads
    Octree(int numPoints, float const* points, BoundingBox const& box, bool usePool,
           int maxPointsPerVoxel);
    ~Octree() override;
    Octree(Octree const&) = delete;
    Octree& operator=(Octree const&) = delete;

    OctreeIterator getRoot() const { return {rootBox_, nodes_.data()}; }

    /// Child numbers front to back for a viewer looking along `direction`: order[k] is k with the
    /// bits of the negative components flipped.
    static void getNodeOrdering(Vector const& direction, int order[8]);

    ko::vector<int> pointIndices;  ///< point numbers grouped by leaf
    int numVoxels = 0;             ///< count of leaves
    int maxDepth = 1;              ///< levels of the tree

private:
    BoundingBox rootBox_;
    ko::vector<OctreeNode> nodes_;  ///< root first; the 8 children of a node are one block
};

}  // namespace koGeom
