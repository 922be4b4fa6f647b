#pragma once

#include "trimora/export.h"

namespace koGeom {

class Polyline;

/// Takes out the vertices of a polyline that matter least, one at a time.
///
/// The error of a vertex is what its removal leaves: the largest distance of the input's vertices between its two neighbours,
/// those taken out before included, to the infinite line through the neighbours, or to their point when they coincide. So a spike
/// that runs along the line has no error.
///
/// polyline    in place; the vertices that stay keep position and parameter
/// tolerance   in the unit of the positions; what is taken out has an error below it. 0, less or NaN take nothing out. In the
///             outcome every vertex of the input is nearer than the tolerance to the line through the two vertices that it lies
///             between.
/// order       least error first, among equal ones the lowest index; after each removal the two neighbours are measured anew
/// stays       first and last vertex, whatever the tolerance, and what has a NaN coordinate or follows such a vertex
/// refused     fewer than 3 vertices: nothing changes
/// cost        O(n log n) on noisy lines and on exactly straight ones, 24 bytes a vertex and a copy of what stays; O(n^2) at worst, when removals
///             run along the polyline and the lines turn a little at each
/// source      repeated elimination of the least point, Visvalingam and Whyatt 1993 [visvalingam1993], with a bound of the error
TRIMORA_API void decimate(Polyline& polyline, double tolerance);

}  // namespace koGeom
