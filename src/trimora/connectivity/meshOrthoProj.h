#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Projects the vertices along z after moving them by a matrix.
///
/// returns   a new array of getNumVertices() x 2 floats, x and y; the caller frees it with delete[]
/// cost      O(vertices); runs on the shared pool
TRIMORA_API float* meshOrthoProj(CompactMesh const& mesh, AffineMatrixFlt const& matrix);

}  // namespace koGeom
