#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
struct BoundingBox;

/// Simple shapes of lines and line strips. For all of them:
///
/// mesh      its vertices and the array that the shape needs are replaced; every other array stays as it was, triangles and
///           attribute sets included
/// axis      0, 1 or 2: the coordinate along which a flat shape has no extent; the others follow cyclically, so that it runs
///           counter-clockwise seen from the positive side. Other numbers count modulo 3
/// counts    negative ones are 0; more than the arrays can hold is std::bad_alloc before anything is written
/// numbers   not validated: what is not finite passes through
/// notices   none
/// threads   on the calling thread; linear in the result

/// One line between two points.
TRIMORA_API void constructLineSegment(Point const& start, Point const& end, CompactMesh& mesh);

/// The line from the origin to the end of a parametric line.
///
/// t0, t1   kept in the attribute set "T", one number a vertex; they do not move the ends
TRIMORA_API void constructLineSegment(ParamLine const& line, CompactMesh& mesh, float t0, float t1);

/// A line without ends, in homogeneous coordinates.
///
/// returns   a new mesh of the lines (0, 1) and (1, 2): vertex 1 is the line's point, 0 and 2 are the negated and the plain direction.
///           The attribute set "W" holds 0, 1, 0: the outer vertices lie at infinity
TRIMORA_API ko::Reference<CompactMesh> constructInfiniteLine(Line const& line);

/// An arc as a chain of lines.
///
/// start, end   radians; the arc runs from one to the other, and its last vertex lies exactly at the end
/// resolution   lines in half a turn: (end - start) / pi * resolution, cut down to a whole number. Below one there are no lines and
///              one vertex, at the end: also for an end below the start, unless the resolution is below 0 too
/// numbers      angles, sines and cosines in single precision
TRIMORA_API void constructArc(Point const& center, float radius, float start, float end, int axis,
                              int resolution, CompactMesh& mesh);

/// A circle as one line strip of segments + 1 points. The last vertex is a copy of the first, so that texture coordinates could
/// go on there; the strip ends at the copy.
///
/// uvs   the unit circle in the unit square
TRIMORA_API void constructCircle(Point const& center, float radius, int axis, int segments,
                                 CompactMesh& mesh);

/// The twelve edges of a box, each drawn once by one of four strips.
///
///         6--------7        vertex = x + 2 y + 4 z, a digit 0 for the box's minimum and 1 for its maximum
///        /|       /|        strips   0 1 5 7
///       4--------5 |                 2 0 4 5
///       | 2------|-3                 1 3 2 6
///       |/       |/                  3 7 6 4
///       0--------1
TRIMORA_API void constructBoxEdgeLineStrips(BoundingBox const& box, CompactMesh& mesh);

/// A line strip through points.
///
/// closed    adds a vertex, a copy of the first, and ends the strip at vertex 0; no strip uses the copy
/// returns   a new mesh; null for fewer than 2 points
TRIMORA_API ko::Reference<CompactMesh> constructLineStrip(ko::vector<Point> const& points,
                                                          bool closed);
/// The same at z = 0.
TRIMORA_API ko::Reference<CompactMesh> constructLineStrip(ko::vector<Point2> const& points,
                                                          bool closed);
TRIMORA_API ko::Reference<CompactMesh> constructLineStrip(ko::vector<Point2Flt> const& points,
                                                          bool closed);

}  // namespace koGeom
