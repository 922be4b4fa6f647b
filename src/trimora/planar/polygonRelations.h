#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

/// How points, segments, sectors and polygons of the plane lie to each other.
///
/// A polygon is a closed polyline, or a list of points whose last one repeats the first. An open polyline stands for
/// itself with the closing edge added, which continues the numbers of its edges. A result "on the boundary" is a band of
/// the tolerance to both sides; tolerances are lengths, and one of 0 or below leaves the band empty. Everything here is
/// serial and keeps no state. Coordinates that are NaN or infinite give some answer, in the same time.
namespace koGeom {

class Polyline2d;

enum pointPolygonRelation : int { pointInside = 0, pointOnBoundary = 1, pointOutside = 2 };

enum EPointSectorIntersection : int {
    pointSectorInvalid = 0,
    pointOutsideSector = 1,
    pointInsideSector = 2,
    pointOnSectorBoundary = 3
};

enum ELineSegmentPolygonIntersection : int {
    segmentUndetermined = 0,
    segmentOutside = 1,   ///< entirely
    segmentInside = 2,    ///< entirely
    segmentCrossing = 3,  ///< one end inside and one point of the boundary, or two points
    segmentTouching = 4,  ///< from outside, in one point
    segmentAlongEdge = 5
};

enum EPolygonsIntersection : int {
    polygonsInvalid = 0,
    polygonsDisjoint = 1,
    polygonsSecondInFirst = 2,
    polygonsFirstInSecond = 3,
    polygonsEqual = 4,
    polygonsOverlapping = 5
};

enum ESectorPolygonIntersection : int {
    sectorInvalid = 1,
    sectorPolygonInvalid = 2,
    sectorPolygonDisjoint = 3,
    sectorPolygonOverlapping = 4,
    sectorPolygonTouching = 5  ///< in fewer than 3 points
};

/// Whether the point lies nearer than the tolerance to the line of the edge, and not further than it beyond an end.
///
/// a, b   the edge; ends that are exactly equal: whether the point is equivalent to them
TRIMORA_API bool isPointOnEdge(Point2 const& a, Point2 const& b, Point2 const& point,
                               double tolerance);

/// Where a point lies to a polygon, by the parity of the edges that a ray to the right of it crosses.
///
/// vertices   closed by a repeat of the first; no edge: outside
/// relation   out: on the boundary where the ray's level crosses an edge nearer than the tolerance along x, or where
///            isPointOnEdge; else inside or outside. Self-crossing polygons: inside where the parity is odd
/// cost       O(n), no allocation: a run of vertices beyond the point's level takes about half a cycle each
TRIMORA_API void isPointInPolygon(Point2 const& point, ko::vector<Point2> const& vertices,
                                  pointPolygonRelation& relation, double tolerance);

/// The same for a polyline; points outside of its box are settled at once.
TRIMORA_API void intersectPointWithPolygon(Point2 const& point, Polyline2d const& polygon,
                                           pointPolygonRelation& relation, double tolerance);

/// How the segment a-b lies to a polygon.
///
/// status       out: with no common point outside or inside by both ends; with one, touching when one end lies outside
///              and the other one outside or on the boundary, crossing when exactly one lies inside; with two,
///              crossing; undetermined in all other cases
/// points       out: the different places where the segment meets edges, in the order of the edges; none along an edge
/// parameters   out: of each point the number of its edge plus the fraction of the way along it; along an edge only
///              that of the first common point
/// prints       "Too many intersection points!" and the points on the standard output at each one beyond the second
/// cost         O(n); edges whose box is beyond the segment's are passed over
TRIMORA_API void intersectLineSegmentWithPolygon(Point2 const& a, Point2 const& b,
                                                 Polyline2d const& polygon,
                                                 ELineSegmentPolygonIntersection& status,
                                                 ko::vector<Point2>& points,
                                                 ko::vector<double>& parameters, double tolerance);

/// What two polygons have in common, by a walk along the boundary of the intersection. Exact for convex polygons in
/// general position; of others, the first piece that the walk comes across.
///
/// first, second   closed, with at least 4 vertices and a box of some area; else invalid. Wound either way
/// status          out: by the vertices of each that lie in the other, to 1e-6, and by whether the walk found 3 points
/// result          out: the intersection when they overlap, closed, in which crossings may stand twice in a row; the inner
///                 polygon when one lies in the other, the first of equal ones; else without vertices. May be one of
///                 the two polygons
/// tolerance       for the vertices met on the walk; its segments are classified to 1e-6
/// limits          polygons that only touch come out as overlapping, with a result without area
/// cost            O((n + m)^2) tests of boxes at worst; ends after n + m - 2 steps whatever it meets
TRIMORA_API void intersectPolygons(Polyline2d const& first, Polyline2d const& second,
                                   EPolygonsIntersection& status, Polyline2d& result,
                                   double tolerance);

/// Where a point lies to the sector that is swept from direction a counterclockwise to direction b.
///
/// a, b        of any length from `epsilonTol` on; shorter: invalid. Alike: the sector is its ray. Opposed: the half
///             plane to the left of a. b clockwise of a: a sector wider than a half-turn
/// tolerance   of the apex, which is on the boundary. A ray's own band is where the cross product of its direction
///             with the way from the apex is below `epsilonTol`
TRIMORA_API void isPointInsideSector(Point2 const& point, Point2 const& apex, Vector2 const& a,
                                     Vector2 const& b, EPointSectorIntersection& status,
                                     double tolerance);

/// What a polygon and a sector have in common.
///
/// polygon     at least 3 vertices and a box of some area
/// status      out
/// result      out: when they overlap, the common points in the order of the polygon's edges: its vertices in the sector,
///             where the rays cut it, and the apex; parameters 0, 1, 2, ..., the first point again at the end. For a
///             convex polygon and a sector up to a half-turn that is the intersection. Else without vertices
/// tolerance   not read: vertices lie in the sector and the apex in the polygon to 1e-6, rays meet edges and points
///             are equal to `epsilonTol`
/// cost        O(n log n)
TRIMORA_API void isSectorPolygonIntersect(Point2 const& apex, Vector2 const& a, Vector2 const& b,
                                          Polyline2d const& polygon,
                                          ESectorPolygonIntersection& status, Polyline2d& result,
                                          double tolerance);

}  // namespace koGeom
