#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Lists the edges of a mesh's triangles, each once.
///
/// count   out: number of edges; 0 without triangles
/// lines   out: two vertex indices an edge, the smaller first; made by new[], the caller's to
///         delete[]; null without triangles
/// order   by the smaller, then by the larger index
/// cost    linear for bounded valences; the array keeps 6 ints a triangle, and as much again is
///         needed meanwhile
TRIMORA_API void meshTrianglesAsLines(CompactMesh const& mesh, int& count, int*& lines);

}  // namespace koGeom
