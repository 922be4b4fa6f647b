#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class Polyline2d;
class TopoMesh;

/// Simple shapes of triangles and quads. For all of them:
///
/// mesh      its vertices and the arrays that the shape tells of are replaced; every other array stays as it was, lines and other
///           attribute sets included. A TopoMesh gets the shape beside what it holds
/// ranges    two numbers, first and second; the first may be the larger one, which turns the shape over. Not within the mesh's
///           own arrays
/// axis      0, 1 or 2: the coordinate along the normal of a flat shape. The first in-plane value goes to coordinate axis + 1, the
///           second to axis + 2, both modulo 3, so that every shape is right-handed. Other numbers count modulo 3
/// counts    negative ones are 0; more than the arrays can hold is std::bad_alloc before anything is written
/// numbers   not validated: what is not finite passes through
/// notices   none for a CompactMesh; a TopoMesh sends one modification of its topology
/// threads   on the calling thread; linear in the result

/// A rectangle of two triangles, with normals.
///
///     2---3     first in-plane coordinate to the right, second upwards
///     |\  |     triangles (0, 1, 2), (3, 2, 1)
///     | \ |
///     |  \|
///     0---1
///
/// r0, r1           extent along the first and the second in-plane coordinate
/// z                height along the axis
/// withUVs          makes texture coordinates, which run over the two ranges; else they stay as they were
/// uRange, vRange   without them 0 to 1
TRIMORA_API void constructRectangle(float const* const r0, float const* const r1, float z, int axis,
                                    CompactMesh& mesh, bool withUVs, float const* const uRange,
                                    float const* const vRange);
TRIMORA_API void constructRectangle(float const* const r0, float const* const r1, float z, int axis,
                                    CompactMesh& mesh, bool withUVs);

/// A rectangle as one quad over the same four vertices, whose ring runs 0, 1, 2, 3 in the order of the drawing above: it crosses
/// itself.
TRIMORA_API void constructRectangle(float const* const r0, float const* const r1, float z, int axis,
                                    TopoMesh& mesh);

/// The square of the parameters 0 to 1 of a plane, with normals and texture coordinates.
///
///     3---2     u to the right, v upwards
///     |  /|     triangles (0, 1, 2), (2, 3, 0)
///     | / |
///     |/  |
///     0---1
TRIMORA_API void constructRectangle(ParamPlane const& plane, CompactMesh& mesh);

/// A rectangle with one range for both directions.
TRIMORA_API void constructSquare(float const* const r, float z, int axis, CompactMesh& mesh,
                                 bool withUVs);
TRIMORA_API void constructSquare(float const* const r, float z, int axis, TopoMesh& mesh);

/// An L in z = 0: a rectangle without the part below and left of its inner corner. With normals.
///
///     3-------2     triangles: the fan (5, 0, 1), (5, 1, 2), (5, 2, 3), (5, 3, 4)
///     |       |
///     4---5   |
///         |   |
///         0---1
///
/// r0, r1   extent in x and y
/// r2       x and y of the inner corner, vertex 5
/// uvs      as in constructRectangle; at the inner corner in proportion, which divides by the extents
TRIMORA_API void constructRectangularCorner(float const* const r0, float const* const r1,
                                            float const* const r2, CompactMesh& mesh, bool withUVs,
                                            float const* const uRange, float const* const vRange);
TRIMORA_API void constructRectangularCorner(float const* const r0, float const* const r1,
                                            float const* const r2, CompactMesh& mesh, bool withUVs);

/// A regular polygon as a fan round its centre, with normals and texture coordinates, the unit circle in the unit square.
///
/// segments   corners, which are vertices 1 to segments; triangle i is (0, i, i + 1), the last one (0, segments, 1)
/// normals    along the axis at the rim; zero at the centre, vertex 0
/// numbers    angles, sines and cosines in single precision
TRIMORA_API void constructDisk(Point const& center, float radius, int axis, int segments,
                               CompactMesh& mesh);

/// A box of 24 vertices and 12 triangles; each face has its own corners and normals. Outside is out when each range rises.
///
/// ranges   x, y and z
/// faces    4 vertices and 2 triangles each, in the order +x, -x, +y, -y, +z, -z
TRIMORA_API void constructCuboid(float const (*const ranges)[2], CompactMesh& mesh);

/// A cuboid with one range for all axes.
TRIMORA_API void constructCube(float const* const r, CompactMesh& mesh);

/// A cube of 8 vertices and 6 quads that share them, closed; outside is out for a rising range.
///
/// vertices   x + 2 y + 4 z, a digit 0 for the range's first number and 1 for its second
TRIMORA_API void constructQuadCube(float const* const r, TopoMesh& mesh);

/// A sphere of circles of latitude and two poles, with normals; closed, outside is out for a radius above 0.
///
/// n          segments in a quarter of a turn: 4 n vertices on each of 2 n - 1 circles; 1 is an octahedron, below it the two poles
///            remain, without triangles
/// vertices   the poles +z and -z, then the circles from +z on, each from +y through +x
/// triangles  2 (2 n - 1) 4 n: the cap at +z, the bands, the cap at -z
/// numbers    sines and cosines in double precision, their angles by repeated addition; positions from the narrowed normals
TRIMORA_API void constructSphere(Point const& center, float radius, int n, CompactMesh& mesh);

/// A ribbon between two circles about the origin in z = 0, with normals and texture coordinates.
///
///     1---3---5---       vertices 2 i on the inner and 2 i + 1 on the outer circle,
///     |\  |\  |          u from 0 to 1 along the ribbon, v from 0 to 1 across
///     | \ | \ |          triangles (0, 2, 1), (1, 2, 3), (2, 4, 3), ...
///     |  \|  \|
///     0---2---4---
///
/// angle   radians, from the x axis on, of either sign
/// n       pairs of vertices; below 1 nothing happens. One pair has no triangles, and its u and positions are NaN: they are the
///         quotient 0 / 0
TRIMORA_API void constructAnnularArc(float inner, float outer, double angle, int n,
                                     CompactMesh& mesh);

/// Bends such a ribbon to other radii and another angle.
///
/// mesh      left alone unless it has an even number of vertices and 2 triangles less than vertices
/// normals   where there are any: towards -z for an angle of 0 or more, else towards +z; the side from which triangles of a positive
///           width run counter-clockwise
/// notices   none: listeners of the mesh learn of the bend from whoever calls
TRIMORA_API void updateAnnularArc(float inner, float outer, double angle, CompactMesh& mesh);

/// The inside of a convex polygon as a fan (0, k, k + 1) round its first vertex, in z = 0.
///
/// boundary   one vertex each is made, also of a last one that repeats the first; that gives a triangle without area
/// returns    a new mesh; without triangles for fewer than 3 vertices
TRIMORA_API ko::Reference<CompactMesh>
constructPolygonFromConvexBoundary(Polyline2d const& boundary);

}  // namespace koGeom
