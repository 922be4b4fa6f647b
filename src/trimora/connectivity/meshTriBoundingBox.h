#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/export.h"

namespace koGeom {

struct BoundingBox;
class CompactMesh;
class MeshAdjTris;

/// Axis-aligned box of one triangle of a mesh.
TRIMORA_API void meshTriBoundingBox(MeshVertex const* vertices, MeshTriangle const& triangle,
                                    BoundingBox& box);

/// The same for `count` triangles.
///
/// boxes   out: `count` boxes, the caller's
TRIMORA_API void meshTriBoundingBoxes(MeshVertex const* vertices, MeshTriangle const* triangles,
                                      int count, BoundingBox* boxes);

/// For each vertex the box of all triangles around it.
///
/// adjTris   the mesh's own table, up to date
/// boxes     out: getNumVertices() boxes, the caller's; the invalid box at a vertex without
///           triangles
TRIMORA_API void meshComputeNeighbourBBoxes(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                            BoundingBox* boxes);

}  // namespace koGeom
