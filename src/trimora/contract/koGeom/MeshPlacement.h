#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/matrices.h"

namespace koGeom {

class CompactMesh;

/// A mesh placed in a scene; not owned, may be null.
struct MeshPlacement {
    AffineMatrixFlt matrix;  // from the mesh's own coordinates to the scene's
    CompactMesh const* mesh = nullptr;
};

/// Which array of a mesh is meant.
enum MeshChannel : int {
    MeshChannelVertices = 0,
    MeshChannelNormals = 1,
    MeshChannelUVs = 2,
    MeshChannelSTs = 3,
};

}  // namespace koGeom
