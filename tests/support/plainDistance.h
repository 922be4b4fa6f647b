#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <limits>

/// Distances from points to triangles, written to be plainly right and without the library's own closest points.
namespace support {

using koLinear::Point;
using koLinear::Vector;

inline double distance2ToSegment(Point const& p, Point const& a, Point const& b) {
    Vector const along = b - a;
    double const length2 = dot(along, along);
    double const t = length2 > 0.0 ? std::clamp(dot(p - a, along) / length2, 0.0, 1.0) : 0.0;
    Vector const rest = p - (a + t * along);
    return dot(rest, rest);
}

/// To the nearest side, or to the plane where the point lies above the inside.
inline double distance2ToTriangle(Point const& p, Point const& a, Point const& b, Point const& c) {
    double const toSides = std::min(
        {distance2ToSegment(p, a, b), distance2ToSegment(p, b, c), distance2ToSegment(p, c, a)});
    Vector const normal = cross(b - a, c - a);
    bool const isAbove = dot(cross(b - a, p - a), normal) > 0.0 &&
                         dot(cross(c - b, p - b), normal) > 0.0 &&
                         dot(cross(a - c, p - c), normal) > 0.0;
    double const height = dot(p - a, normal);
    return isAbove ? std::min(toSides, height * height / dot(normal, normal)) : toSides;
}

inline double distance2ToTriangle(Point const& p, koGeom::CompactMesh const& mesh, int triangle) {
    koGeom::MeshTriangle const& corners = mesh.getTriangles()[triangle];
    return distance2ToTriangle(p, mesh.getVertices()[corners[0]].asPoint(),
                               mesh.getVertices()[corners[1]].asPoint(),
                               mesh.getVertices()[corners[2]].asPoint());
}

/// The squared distance to a mesh by looking at all triangles, or the first that is at most `enough`.
inline double distance2ToMesh(Point const& p, koGeom::CompactMesh const& mesh,
                              double enough = 0.0) {
    double least = std::numeric_limits<double>::max();
    for (int t = 0; t < mesh.getNumTriangles() && least > enough; ++t)
        least = std::min(least, distance2ToTriangle(p, mesh, t));
    return least;
}

}  // namespace support
