#pragma once

#include "trimora/contract/koGeom/Array.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class TopoMesh;

/// Counts the connected components of a mesh; triangles that share a vertex are connected.
///
/// adjTris            the mesh's own table, up to date
/// vertexComponents   out, may be null: getNumVertices() entries, the component of each vertex,
///                    -1 for one without triangles
/// returns            the number of components
/// cost               O(vertices + triangles), but for a logarithm; one int a vertex of scratch
/// order              components are numbered by their lowest triangle
/// literature         union by index with path halving: Tarjan and van Leeuwen 1984 [tarjan1984]
TRIMORA_API int meshComponents(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                               Array<int>* vertexComponents);

/// Counts the connected components of a half-edge mesh; faces are connected through edges, not
/// through vertices, so that two fans on one vertex count as two.
TRIMORA_API int meshComponents(TopoMesh& mesh);

}  // namespace koGeom
