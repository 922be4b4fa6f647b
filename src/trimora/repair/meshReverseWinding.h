#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Turns the whole mesh over: triangles, strips and fans.
///
/// flipVertexNormals   negate the vertex normals, if there are any; triangle normals are always
///                     negated
/// sends               one Topology modification, also where there is nothing to turn
///
/// A strip of odd length is reversed, one of 4 points has its middle points exchanged, and a longer
/// one of even length is cut in two, so that the count of strips grows.
TRIMORA_API void meshReverseWinding(CompactMesh& mesh, bool flipVertexNormals);

/// Turns over what hangs together with `triangle` through common vertices.
///
/// adj        the mesh's own table, up to date
/// triangle   in range, not checked
/// sends      as meshReverseSelectedWinding; the triangles stay selected
TRIMORA_API void meshReverseWinding(CompactMesh& mesh, MeshAdjTris const& adj, int triangle);

/// Turns over the selected triangles and negates their normals and those of their vertices, each
/// once: a vertex shared with a triangle that is not selected is negated too. Strips and fans are
/// dropped.
///
/// sends   one Topology modification in any case
TRIMORA_API void meshReverseSelectedWinding(CompactMesh& mesh);

}  // namespace koGeom
