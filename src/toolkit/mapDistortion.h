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
    double mean = 1.0;  ///< over the triangles that have a ratio
    double percentile95 = 1.0;
    double largest = 1.0;
    int flippedTriangles = 0;       ///< turned over in the plane
    double flippedAreaShare = 0.0;  ///< of the surface
    int collapsedTriangles =
        0;  ///< without an area in the plane, to the precision of floats; they have no ratio
    int degenerateTriangles = 0;  ///< without an area on the surface; not measured at all
    double areaShare =
        0.0;  ///< of the unit square that the triangles cover, overlaps counted twice
};

/// cost   O(n log n)
TRIMORA_API MapDistortion measureMap(koGeom::CompactMesh const& mesh, CornerUVs const& corners);

}  // namespace trimora
