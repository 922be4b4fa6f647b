#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/export.h"

namespace koGeom {

/// Puts the triangles around a vertex in fan order: each across the edge to the previous corner
/// of the one before.
///
/// tris        the vertex's triangles, numTris of them; the fan starts at tris[0]
/// triangles   the mesh's triangle array
/// out         out: replaced by the same numbers in fan order; may be where `tris` points into
/// cost        O(numTris log numTris)
/// order       on an open fan right only if tris[0] is the fan's end; where the chain breaks, the
///             rest keeps the order that it then has. Of several candidates the first in the list
///             follows
TRIMORA_API void sortAdjTris(int vertex, int numTris, int const* tris,
                             MeshTriangle const* triangles, ko::vector<int>& out);

}  // namespace koGeom
