#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshSequenceShort;

/// Which triangle a ray hits first, of those that may lie under a rectangle of the screen.
///
/// Triangles of which all corners lie to one side of the rectangle are left out before the ray test: those are nearly all. The
/// rectangle and the ray are not compared, so that a hit elsewhere is found by chance only; take both from one place of the screen.
/// Faces count from both sides, see intersectRayTriangle(), from a parameter of `epsilonTol` on.
///
/// vertices      3 floats each, in the space of the ray
/// triangles     3 vertex numbers each, all below numVertices
/// m             from there to the screen: x' = m[0] x + m[4] y + m[8] z + m[12] and so on, divided by w'. What is not a number lies
///               to no side; nothing special is done for what lies behind the eye
/// x, y, size    the rectangle: x - size to x + size by y - size to y + size
/// returns       triangle and weights; invalid when nothing is hit, and where there are no vertices or triangles
/// ties          the lowest triangle
/// cost          a projection of each vertex and a look at each triangle, a byte a vertex of scratch; on the shared pool from
///               10000 vertices, or triangles, on. The result does not depend on the number of threads
TRIMORA_API MeshCoord meshRayIntersectScreen(float const* vertices, int numVertices,
                                             int const* triangles, int numTriangles,
                                             ProjMatrixFlt const& m, int x, int y, int size,
                                             Line const& ray);
TRIMORA_API MeshCoord meshRayIntersectScreen(CompactMesh const& mesh, ProjMatrixFlt const& m, int x,
                                             int y, int size, Line const& ray);

/// In the rectangle from -1 to 1: where `m` has been made for the place that is picked.
TRIMORA_API MeshCoord meshRayIntersectScreen(float const* vertices, int numVertices,
                                             int const* triangles, int numTriangles,
                                             ProjMatrixFlt const& m, Line const& ray);
TRIMORA_API MeshCoord meshRayIntersectScreen(CompactMesh const& mesh, ProjMatrixFlt const& m,
                                             Line const& ray);

/// Of the triangles of strips. They are numbered as the strips give them, and corners are weighed in that order, the first two of
/// every other triangle exchanged; see ShortTriStripIterator.
///
/// stride     floats from one vertex to the next, at least 3: nothing is hit below
/// strips     those of fewer than 3 points have no triangles and count for none
/// distance   out: the parameter of the hit, the largest double without one
TRIMORA_API MeshCoord meshRayIntersectScreen(float const* vertices, int numVertices, int stride,
                                             MeshSequenceShort const& strips,
                                             ProjMatrixFlt const& m, int x, int y, int size,
                                             Line const& ray, double& distance);

/// Many rays at once, for which the triangles are looked at once.
///
/// xMin to yMax         the rectangle of all the rays
/// rays                 without a direction they hit nothing
/// distances, coords    out: one a ray, as above
/// threads              the rays are traced on the calling thread
TRIMORA_API void meshRayIntersectScreen(float const* vertices, int numVertices, int stride,
                                        MeshSequenceShort const& strips, ProjMatrixFlt const& m,
                                        float xMin, float xMax, float yMin, float yMax,
                                        ko::vector<Line> const& rays, ko::vector<double>& distances,
                                        ko::vector<MeshCoord>& coords);

}  // namespace koGeom
