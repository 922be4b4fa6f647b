#pragma once

#include "trimora/export.h"

namespace koUtil {
class Progress;
}

namespace koGeom {

class CompactMesh;
class MeshAdjVertices;

/// Moves each selected vertex to the mean of its neighbours: one pass. What is smoothed shrinks.
///
/// mesh          selected vertices are moved, all at once, so that their order does not matter; a
///               neighbour counts whether it is selected or not. A vertex without neighbours
///               becomes NaN: leave it out of the selection
/// adjVertices   the mesh's own table, up to date
/// progress      polled before the first and every 1000 selected vertices; cancelled: the mesh is
///               as it was, nothing is sent
/// notice        one modification of its geometry, also when nothing is selected. It is sent without
///               dropping what was derived from the positions: normals stay, as they were before
///               the pass, for the next one
/// cost          O(vertices + neighbours), 16 bytes a selected vertex; on the calling thread
TRIMORA_API void meshSmoothLaplacian(CompactMesh& mesh, MeshAdjVertices const& adjVertices,
                                     koUtil::Progress& progress);

}  // namespace koGeom
