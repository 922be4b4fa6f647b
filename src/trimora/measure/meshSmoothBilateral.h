#pragma once

#include "trimora/export.h"

namespace koUtil {
class Progress;
}

namespace koGeom {

class CompactMesh;
class MeshAdjVertices;

/// Moves each selected vertex along its normal by a bilateral filter of the heights of the vertices
/// around it over its tangent plane: one pass. Vertices at other heights than most count little, so
/// that edges stay where the mean would round them.
///
/// mesh          selected vertices are moved, all at once; selection, progress, cancelling and
///               notice are those of meshSmoothLaplacian. Without normals no vertex moves. They are
///               read as they are: compute them anew before each pass
/// sigma         in mesh units: the radius of the neighbourhood, and the standard deviation by
///               which vertices count less the farther they are. The neighbourhood is connected
///               through vertices within the radius; with a sigma below every edge it is empty and
///               nothing moves. About one edge is what keeps sharp edges: the wider it is, the
///               more of them is rounded off. The deviation of the heights is that of the neighbourhood's own
///               heights; one whose square is below `epsilonTol` is flat, and its vertex stays
/// adjVertices   the mesh's own table, up to date
/// cost          O(selected vertices x vertices within sigma), 16 bytes a selected vertex and 4 a
///               vertex; on the calling thread
/// source        Fleishman, Drori, Cohen-Or 2003 [fleishman2003]
TRIMORA_API void meshSmoothBilateral(CompactMesh& mesh, MeshAdjVertices const& adjVertices,
                                     double sigma, koUtil::Progress& progress);

}  // namespace koGeom
