#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/MeshCurve.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshSequence;

/// Turns a run of vertices into a curve on the mesh.
///
/// sequence   runs of vertex indices of `mesh`
/// run        number of the run, not checked
/// returns    one point a vertex, on the vertex's first triangle; on no triangle where it has none.
///            Always marked as closed
TRIMORA_API ko::Reference<MeshCurve> meshConvertLine(CompactMesh const& mesh,
                                                     MeshAdjTris const& adjTris,
                                                     MeshSequence const& sequence, int run);

}  // namespace koGeom
