#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <limits>

namespace koUtil {
class Progress;
}

namespace koGeom {

class BitVector;

/// How good a part of a triangulation is: flat first, then small.
struct PolygonWeight {
    double area = std::numeric_limits<double>::max();  ///< sum over the triangles
    double cosine = 1.0;  ///< least cosine between the normals of triangles that share an edge

    static PolygonWeight const zero;   ///< nothing to pay: an edge of the polygon
    static PolygonWeight const worst;  ///< loses against every triangle that is allowed

    constexpr PolygonWeight() = default;
    constexpr PolygonWeight(double sumOfAreas, double leastCosine)
        : area(sumOfAreas), cosine(leastCosine) {}
    constexpr bool operator==(PolygonWeight const&) const = default;

    constexpr bool isBetterThan(PolygonWeight const& other) const {
        return cosine == other.cosine ? other.area > area : cosine > other.cosine;
    }
};

inline constexpr PolygonWeight PolygonWeight::zero{0.0, 1.0};
inline constexpr PolygonWeight PolygonWeight::worst{std::numeric_limits<double>::max(), -1.0};

constexpr PolygonWeight operator+(PolygonWeight const& a, PolygonWeight const& b) {
    return {a.area + b.area, b.cosine < a.cosine ? b.cosine : a.cosine};
}

/// Cuts a closed polygon of space, which need not be planar, into triangles without new points: what fills a hole.
///
/// Prefers triangulations without a fold sharper than a right angle, and among those the least area; where a sharper
/// fold cannot be avoided, the mildest one. (An edge of the polygon counts as a neighbour at a right angle: no weight has
/// a cosine above 0.) Each chain of points keeps its one best triangulation, whatever will lie beside it, so that the
/// whole is not always the best of all; on a planar convex polygon it is.
///
/// polygon     three points or more in order, the last one joined to the first; fewer give no triangle
/// triangles   out: cleared, then three indices into the polygon a triangle, wound as the polygon, size() - 2 of them.
///             A chain's triangle follows those of its lower part and comes before those of its upper part.
/// forbidden   null, or a bit n a + b for each directed edge from point a to point b that no triangle may hold; bits
///             beyond its size count as clear. When nothing is left, a fan comes out all the same.
/// progress    null, or asked for cancellation and told the share of chains done in all splits to try, which stays far
///             below 1, at every 1000th chain of more than two edges
/// returns     false when cancelled, with no triangles; else true
/// ties        the lowest split; a degenerate triangle (area below `epsilonTol`) costs a cosine of -1
/// cost        O(n^3) time, 22 n^2 bytes of scratch; on the calling thread
/// source      weights and recurrence of Barequet and Sharir 1995 [barequet1995] and Liepa 2003 [liepa2003]
TRIMORA_API bool triangulatePolygon(ko::vector<Point> const& polygon, ko::vector<int>& triangles,
                                    BitVector* forbidden, koUtil::Progress* progress);

}  // namespace koGeom
