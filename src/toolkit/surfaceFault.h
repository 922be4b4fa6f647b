#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <string>

namespace trimora {

/// What makes a part of a mesh unfit for edits that follow its surface, with the first place of it: NaN and infinite
/// coordinates, triangles that name a vertex twice, edges of more than two triangles, vertices where several fans meet,
/// neighbours wound against one another.
///
/// triangles   the part, one bit a triangle; the triangles that touch it are looked at too
/// returns     empty when there is nothing
/// cost        linear in the mesh, O(n log n) in the part
TRIMORA_API std::string faultOfSurface(koGeom::CompactMesh const& mesh,
                                       koGeom::MeshAdjTris const& adjTris,
                                       koGeom::BitVector const& triangles);

}  // namespace trimora
