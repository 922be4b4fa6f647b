#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

/// Whether a point of the plane lies in a triangle, edges included, and where: for walks over the samples of a map.
///
/// point, a, b, c   floats, and all the arithmetic is in floats: on an edge that is not level or upright, rounding decides
/// u, v             out: point = a + u (b - a) + v (c - a), also outside of the triangle
/// returns          u within 0 to 1, v not below 0 and u + v not above 1
/// winding          either
/// degenerate       a determinant of exactly 0: false, u and v as they were
/// cost             one determinant and two divisions
TRIMORA_API bool isPointInTriangleInclusive(Point2Flt const& point, Point2Flt const& a,
                                            Point2Flt const& b, Point2Flt const& c, float& u,
                                            float& v);

/// The same for triangles that may be slivers: a determinant (twice the area, or a component of an edge that is left
/// where the other one vanishes) smaller than `epsilonTolFlt` counts as 0.
///
/// u, v         out: as above; 1/3 each for a degenerate triangle, so that they name its middle in any case
/// degenerate   false
TRIMORA_API bool isPointInTriangleDefinitive(Point2Flt const& point, Point2Flt const& a,
                                             Point2Flt const& b, Point2Flt const& c, float& u,
                                             float& v);

/// Whether a point of space lies in a triangle seen along its normal, give or take 1e-5 of the triangle's area.
///
/// A corner's weight is the area of the triangle that the point makes with the other two corners, counted as
/// negative where that one faces away from the normal, as a share of the whole area. No weight may be -1e-5 or less.
///
/// point        meant for points in the triangle's plane; the areas of one that lies above are its true ones, not those
///              of its foot
/// normal       at right angles to the triangle, its length the triangle's area; without it half of
///              cross(b - a, c - a)
/// degenerate   a normal without direction (areas below about 1e-154 or above 1e154, NaN): false
TRIMORA_API bool isPointInTriangleInclusive(Point const& point, Point const& a, Point const& b,
                                            Point const& c, Vector const& normal);
TRIMORA_API bool isPointInTriangleInclusive(Point const& point, Point const& a, Point const& b,
                                            Point const& c);

}  // namespace koGeom
