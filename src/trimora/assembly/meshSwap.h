#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Exchanges the contents of two meshes, selections included; listeners stay with their mesh.
/// Constant time.
///
/// sends   two Topology modifications, for the first mesh and then for the second, each marked with
///         all that either mesh holds
TRIMORA_API void meshSwap(CompactMesh& first, CompactMesh& second);

}  // namespace koGeom
