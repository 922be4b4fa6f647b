#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>
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
        false;  ///< false for a triangle without an area, with coordinates that are not finite, or that there is not

    double ratio() const { return larger / smaller; }
};

/// Not measured where the mesh has no triangle of this number, or other corners than those: nothing is read then.
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

struct DistortionOutcome {
    std::string refusal;  ///< not empty: nothing was measured; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    MapDistortion whole;                  ///< of all triangles
    std::vector<MapDistortion> ofGroups;  ///< of each group, where there are any
};

/// Measures a map.
///
/// refuses   a mesh whose arrays do not fit together, see faultOfMesh, and corners of another number than three a triangle
/// cost      linear
TRIMORA_API DistortionOutcome measureMap(koGeom::CompactMesh const& mesh, CornerUVs const& corners);

/// The same, and for each group of triangles by itself.
///
/// groups    the group of each triangle, 0 to numGroups - 1
/// refuses   other groups as well
TRIMORA_API DistortionOutcome measureMaps(koGeom::CompactMesh const& mesh, CornerUVs const& corners,
                                          std::vector<int> const& groups, int numGroups);

struct CornersOutcome {
    std::string refusal;  ///< not empty: there are no corners; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    CornerUVs corners;
};

/// What a mesh with texture coordinates says itself: each corner has those of its vertex.
///
/// refuses   a mesh whose arrays do not fit together, and triangles without texture coordinates
TRIMORA_API CornersOutcome cornersOf(koGeom::CompactMesh const& mesh);

}  // namespace trimora
