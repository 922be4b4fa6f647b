#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAttributes;
struct MeshUV;

/// The UV at a place of a triangle, in 32-bit floats: (1 - u - v) uv0 + u uv1 + v uv2.
///
/// u, v   weights of the second and the third corner
/// out    (0, 0) when the mesh has no UVs, or no such triangle
TRIMORA_API void meshInterpolate(CompactMesh const& mesh, int triangle, float u, float v,
                                 MeshUV& out);

/// The same for all components of any attribute set, from elements i0, i1, i2 of `source` to
/// element k of `target`, which has the same dimension. Forgets the target's value range. Indices
/// are not checked.
TRIMORA_API void meshInterpolate(MeshAttributes const& source, int i0, int i1, int i2, float u,
                                 float v, MeshAttributes& target, int k);

}  // namespace koGeom
