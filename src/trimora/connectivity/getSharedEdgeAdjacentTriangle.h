#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/export.h"

namespace koGeom {

class MeshAdjTris;

/// Finds the neighbour of a triangle across one of its edges, whichever way that is wound.
///
/// edge          0 to 2: edge e runs from corner e to corner (e + 1) mod 3
/// triangles     the mesh's triangle array
/// adjTris       the mesh's own table, up to date
/// outTriangle   out: the lowest other triangle on the edge; unchanged when there is none
/// outEdge       out: its corner that is the edge's end, which in a neighbour wound alike starts
///               the shared edge; -1 when there is none
/// returns       false on an open edge
/// cost          O(triangles around the end that has fewer)
TRIMORA_API bool getSharedEdgeAdjacentTriangle(int const& triangle, int edge,
                                               MeshTriangle const* triangles,
                                               MeshAdjTris const& adjTris, int& outTriangle,
                                               int& outEdge);

}  // namespace koGeom
