#pragma once

#include "trimora/export.h"
#include "trimora/repair/meshManifold.h"

namespace koGeom {

/// One step towards a manifold mesh: deletes the surplus triangles of bad edges or, when there are
/// none, splits bad vertices.
///
/// mesh      edited in place: a bad edge keeps the two triangles whose third vertices have the most
///           triangles (of equals the later ones), deleted with the vertices that nothing else
///           uses; a bad vertex keeps its first fan, and every further fan gets a copy of the
///           vertex at the end of the array. Only positions are copied
/// adj       the mesh's own table; stale after the call
/// result    of this very state of the mesh
/// sends     one Topology modification, none when nothing was deleted or split; no attribute is
///           declared valid by a split. Deletion leaves the mesh's selections empty
/// threads   runs on the calling thread
TRIMORA_API void meshMakeManifold(CompactMesh& mesh, MeshAdjTris const& adj,
                                  MeshManifoldResult const& result);

/// Repeats such steps until the mesh tests manifold, or until a step changes neither the count of
/// vertices nor of triangles: triangles that name a vertex twice can hide which of an edge's
/// triangles is surplus.
TRIMORA_API void meshMakeManifold(CompactMesh& mesh);

}  // namespace koGeom
