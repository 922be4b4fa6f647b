#pragma once

#include "trimora/export.h"

namespace koGeom {

/// Tells whether a point of the plane lies in a polygon, by the parity of the edges that a ray to
/// the right of it crosses.
///
/// point   x and y
/// pairs   n + 1 corners, the last one repeating the first
/// n       number of corners; below 3: false
/// ties    a point on a level edge is inside at once. At the height of a corner the test is half
///         open in each edge's own direction, so that a ray through a corner may count an even or
///         an odd number of crossings: the answer there is the test's, kept as it is
/// cost    O(n), in floats
TRIMORA_API bool pointPolygonIntersect2D(float const* const point, float const (*const pairs)[2],
                                         int n);

}  // namespace koGeom
