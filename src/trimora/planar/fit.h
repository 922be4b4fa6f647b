#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/export.h"

namespace koGeom {

class PointMesh;

/// Fits a plane through the mean of a point set by elimination on the scatter matrix of its offsets.
///
/// points    count points, in any unit; offsets from the mean are summed in doubles
/// plane     out: origin the mean; the normal is invalid when a coordinate is not finite
/// returns   the rank of the elimination, which is not that of the point set: z is always taken as the
///           direction that depends on the others, so the result is 2 for points spread along x or y, on a line
///           as well, and 1 for points that coincide within `epsilonTol` of squared spread or lie along z
/// normal    at right angles to all exactly planar sets, with the sign as it comes. Of scattered points it solves two of the
///           three rows of the scatter matrix, those with the pivots: of a set that is flat along z this is the plane
///           with the least squares along z, in general it is no least squares plane. With a pivot in x alone z is left out
///           of account, with one in y alone it is the x axis, without any (1, 1, 0) normalised.
/// empty     no points: 0, and the plane through the origin with the normal z
/// cost      O(count), no allocation
TRIMORA_API int fit(int count, Point const* points, Plane& plane);
TRIMORA_API int fit(PointMesh const& mesh, Plane& plane);

/// Whether the points lie in a plane, and in which: that of `fit`.
///
/// points      fewer than three are refused. The first three take part in the fit, but their own distance is not
///             tested.
/// plane       out: the plane when the result is true, else as it was
/// tolerance   largest distance, in mesh units; a point exactly as far passes
TRIMORA_API bool recognizePlane(ko::vector<Point> const& points, Plane& plane, double tolerance);
TRIMORA_API bool recognizePlane(PointMesh const& mesh, Plane& plane, double tolerance);

/// The plane through the first and the last point of a curve that the points between them are nearest to, by the
/// sum of squared distances.
///
/// plane     out: origin the first point. Points on the chord leave the angle open: one plane through it comes out.
/// refused   fewer than three points, coincident ends, coordinates that are not finite: the plane is then the
///           origin with a zero normal, which is invalid
/// cost      O(count), no allocation
TRIMORA_API void fitWithEndsOnPlane(int count, Point const* points, Plane& plane);

}  // namespace koGeom
