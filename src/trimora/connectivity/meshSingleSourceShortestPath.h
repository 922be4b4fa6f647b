#pragma once

#include "trimora/contract/koGeom/Array.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjVertices;

/// Lengths of the shortest paths along edges from one vertex to every other.
///
/// adjVertices    the mesh's own table, up to date
/// source         0 to getNumVertices() - 1; from any other number no vertex is reached
/// distances      out: getNumVertices() lengths in mesh units, the largest finite double where no
///                path leads
/// predecessors   out: getNumVertices() entries, all -1: paths cannot be traced with it
/// cost           O((vertices + edges) log vertices)
/// literature     Dijkstra 1959 [dijkstra1959] with a binary heap
TRIMORA_API void meshSingleSourceShortestPath(CompactMesh const& mesh,
                                              MeshAdjVertices const& adjVertices, int source,
                                              Array<double>& distances, Array<int>& predecessors);

}  // namespace koGeom
