#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjVertices;

namespace detail {

/// The farthest that a vertex or one of its neighbours lies from the plane fitted to all of them, for each vertex.
///
/// flatness   out: numVertices doubles, >= 0; the largest double for a vertex with fewer than 3
///            neighbours, and where a position is not finite
/// cost       O(vertices + triangles), on the shared pool
TRIMORA_API void vertexFlatness(CompactMesh const& mesh, MeshAdjVertices const& adjVertices,
                                double* flatness);

}  // namespace detail
}  // namespace koGeom
