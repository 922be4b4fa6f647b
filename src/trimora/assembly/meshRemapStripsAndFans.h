#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Renumbers the vertices of a mesh in the order in which its strips and then its fans draw them, for a vertex cache.
///
/// Each point of a strip or fan gets a new vertex, a copy of its old one, unless that one is among those copied last. So vertices
/// multiply, and those that no strip or fan uses go.
///
/// mesh        positions, normals and texture coordinates are copied; other sets are dropped. The triangles are rewritten from the
///             strips and fans: meant for one strip and one fan at most. With more of them the array is longer than what is
///             written, and its last triangles hold what was there, numbers of old vertices. Triangles of a fan take turns in
///             their winding. A mesh without strips and fans ends empty
/// cacheSize   how many copies count as the last ones; below 1 none do
/// notice      one modification of the topology, without a remap
/// cost        O(points); 12 bytes a point or vertex of scratch
TRIMORA_API void meshRemapStripsAndFans(CompactMesh& mesh, int cacheSize);

}  // namespace koGeom
