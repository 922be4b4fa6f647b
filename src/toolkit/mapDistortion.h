#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// The texture coordinates of a mesh by corner: three a triangle, so that neighbours may differ along a seam.
using CornerUVs = std::vector<koGeom::MeshUV>;

/// What the map from the surface to the plane does to one triangle.
struct TriangleMap {
    double larger =
        0.0;  ///< the singular values: by how much lengths are multiplied in the two directions at right
    double smaller = 0.0;  ///< angles in which that is most and least
    double area = 0.0;     ///< of the triangle on the surface
    double uvArea = 0.0;   ///< in the plane; negative where it is turned over
    bool isMeasured =
        false;  ///< false for a triangle without an area, or with coordinates that are not finite

    double ratio() const { return larger / smaller; }
};

TRIMORA_API TriangleMap mapOfTriangle(koGeom::CompactMesh const& mesh, CornerUVs const& corners,
                                      int triangle);

/// How far a map from a surface to the plane is from keeping angles: the ratio of the singular values of each triangle, 1
/// where the angles are kept.
struct MapDistortion {
    int measuredTriangles =
        0;  ///< that have a ratio; without any there is no mean, and the three below are 0
    double mean = 0.0;
    double percentile95 = 0.0;
    double largest = 0.0;
    int flippedTriangles = 0;       ///< turned over in the plane
    double flippedAreaShare = 0.0;  ///< of the surface
    int collapsedTriangles =
        0;  ///< narrower in the plane than a float's step at the map's far end: what shape they have there is rounding. They have no ratio and no side
    double collapsedAreaShare = 0.0;  ///< of the surface
    int degenerateTriangles = 0;      ///< without an area on the surface; not measured at all
    double areaShare =
        0.0;  ///< of the unit square that the triangles cover, overlaps counted twice
};

/// cost   linear
TRIMORA_API MapDistortion measureMap(koGeom::CompactMesh const& mesh, CornerUVs const& corners);

/// The same for each group of triangles by itself.
///
/// groups   the group of each triangle, 0 to numGroups - 1
TRIMORA_API std::vector<MapDistortion> measureMaps(koGeom::CompactMesh const& mesh,
                                                   CornerUVs const& corners,
                                                   std::vector<int> const& groups, int numGroups);

/// What a mesh with texture coordinates says itself: each corner has those of its vertex.
TRIMORA_API CornerUVs cornersOf(koGeom::CompactMesh const& mesh);

}  // namespace trimora
