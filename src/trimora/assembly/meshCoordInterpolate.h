#pragma once

#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Finds the coordinate of the point t0 a + t1 b, where two points on the mesh share a triangle.
///
/// tolerance   distance within which a or b counts as lying on a vertex or an edge, and so in all
///             triangles there
/// returns     on a triangle that holds both, a's own if it does; weights 0 on triangle -1 when
///             there is none. The weights are barycentric and not clamped
/// cost        proportional to the triangles round the corners of the two triangles
TRIMORA_API MeshCoord meshCoordInterpolate(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                           double t0, MeshCoord const& a, double t1,
                                           MeshCoord const& b, double tolerance);

}  // namespace koGeom
