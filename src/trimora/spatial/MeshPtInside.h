#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/export.h"
#include "trimora/spatial/MeshClosestPoint.h"

namespace koGeom {

/// Tells whether points lie inside a mesh, by the side on which the closest point of the surface
/// sees them: no rays are cast.
///
/// mesh        closed, consistently wound, with vertex normals that point outward; outlives the
///             object with its octree and table. A mesh without triangles or without normals has no
///             inside
/// threads     an own object a thread; a copy shares the working memory of its source, see
///             MeshClosestPoint
class TRIMORA_API MeshPtInside {
public:
    enum class Result { Inside = 0, Outside = 1, OnSurface = 2 };

    /// tolerance   distance below which a point is on the surface
    MeshPtInside(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris,
                 double tolerance);

    /// A point outside the mesh's box is Outside, also within the tolerance of the surface; a point
    /// exactly at right angles to the blended normal is Inside.
    Result evaluate(Point const& p);

private:
    CompactMesh const& mesh_;
    MeshClosestPoint closestPoint_;
    BoundingBox box_;
    double tolerance_;
};

}  // namespace koGeom
