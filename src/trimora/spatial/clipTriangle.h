#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <cstdint>

namespace koGeom {

/// A polygon's vertex in homogeneous coordinates with what it carries: components 0 to 3 are x, y, z and w, 7 and 8 are u and v of
/// texture coordinates by habit. Not initialised.
struct ClipVert {
    double components[16];

    double& operator[](int i) { return components[i]; }
    double const& operator[](int i) const { return components[i]; }
};

struct ClipPolygon {
    int count = 0;
    std::uint32_t mask = 15;  // bit i: component i is interpolated where an edge is cut
    ClipVert vertices[10];    // enough for a triangle cut by six planes

    ClipPolygon() {}
};

/// The volume of the points with minX w <= x <= maxX w, and so on.
struct ClipBox {
    double minX = -1.0, maxX = 1.0;
    double minY = -1.0, maxY = 1.0;
    double minZ = -1.0, maxZ = 1.0;
};

enum IntersectionResult {
    IntersectionOutside = 0,  ///< nothing is left
    IntersectionClipped = 1,
    IntersectionInside = 2,  ///< the polygon is as it was
};

/// Cuts a triangle, or another convex polygon, to a box in homogeneous coordinates; w may have both signs.
///
/// polygon   in and out. Faces count as inside, so that what only touches the box is left as a piece without area. Components that
///           are not in the mask have no value at new vertices. A count outside of 0 to 10 is taken for the nearest; a polygon
///           that is not convex, broken numbers among them, is cut short at ten vertices
/// returns   IntersectionInside also for no vertices
/// order     the vertices' own; of new ones on an edge the one nearer to its start comes first
/// cost      six tests a vertex, and a pass over the polygon for each face that a vertex lies beyond
/// source    Sutherland and Hodgman 1974 [sutherland1974]
TRIMORA_API IntersectionResult clipTriangle(ClipPolygon& polygon, ClipBox const& box);

}  // namespace koGeom
