#pragma once

#include <memory>

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshBoundaries;
class MeshModifyRep;

namespace detail {

/// Whether the tables can belong to the mesh.
bool tablesFit(CompactMesh const& mesh, MeshAdjTris const& adjTris,
               MeshBoundaries const& boundaries);

/// The bridge for the two rings of triangles along all boundaries, before extract().
std::unique_ptr<MeshModifyRep> boundaryRegion(CompactMesh& mesh, MeshAdjTris const& adjTris,
                                              MeshBoundaries const& boundaries);

}  // namespace detail

}  // namespace koGeom
