#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Length of the longest triangle edge, worked out in floats; 0 without triangles. Linear, serial.
TRIMORA_API double meshLongestEdge(CompactMesh const& mesh);

/// The same with two floats a vertex in place of the positions, say texture coordinates.
TRIMORA_API double meshLongestEdge2D(CompactMesh const& mesh, float const* uv);

}  // namespace koGeom
