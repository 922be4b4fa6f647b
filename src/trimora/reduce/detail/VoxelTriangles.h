#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/export.h"

#include <limits>
#include <vector>

namespace koGeom::detail {

/// The triangles of one leaf of an octree, laid out so that the nearest one is found fast for many points of that leaf.
///
/// Gives what MeshClosestPoint::compute gives for the same octree and table, bit for bit, whenever the walk would end
/// after its first leaf: when the nearest triangle of the leaf is nearer than all of its faces.
class TRIMORA_API VoxelTriangles {
public:
    /// All outlive the object and do not change.
    VoxelTriangles(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris);

    /// The nearest triangle and place. The leaf in hand is changed where the point lies in another one, so points come best
    /// leaf by leaf.
    ///
    /// coord      out: untouched when the answer is false
    /// distance   out: the same
    /// returns    false where other leaves would have to be looked at, and for coordinates that are no floats
    bool compute(Point const& p, MeshCoord& coord, double& distance);

private:
    struct Measured {
        MeshCoord coord;
        double distance2 = std::numeric_limits<double>::max();
    };

    struct alignas(16) FourBoxes {
        float bounds[6][4];  // lower x, y, z, upper x, y, z
    };

    void enter(Point const& p);
    void layOut();
    double gapToFaces(Point const& p) const;
    unsigned nearBoxes(int group, Point const& p, float skip2) const;
    Measured measure(int place, Point const& p) const;

    CompactMesh const& mesh_;
    Octree const& octree_;
    OctreeTris const& octreeTris_;

    OctreeIterator leaf_;  // in hand; null before the first one
    int const* numbers_ = nullptr;
    int numTriangles_ = 0;
    double largest_ = 0.0;  // coordinate of the triangles, for margins
    // By place in the leaf's list.
    std::vector<Point> corners_;    // three each
    std::vector<FourBoxes> boxes_;  // of four at a time
    int lastNearest_ = 0;
};

}  // namespace koGeom::detail
