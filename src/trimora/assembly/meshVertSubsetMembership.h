#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/export.h"

namespace koGeom {

class ArrayOfSets;
class CompactMesh;
class Remap;

/// Tells for each vertex which subsets list it.
///
/// out    replaced: one set a vertex, the positions of the subsets in the list, ascending, as often
///        as a subset lists the vertex
/// cost   linear. Indices of the subsets are not checked
TRIMORA_API void meshVertSubsetMembership(CompactMesh const& mesh,
                                          ko::list<ko::Reference<MeshSubset>> const& subsets,
                                          ArrayOfSets& out);

/// Tells for each triangle which subset lists it: the last one in the list; -1 for none.
///
/// out   resized to the mesh's triangles and the number of subsets
TRIMORA_API void meshTriSubsetMembership(CompactMesh const& mesh,
                                         ko::list<ko::Reference<MeshSubset>> const& subsets,
                                         Remap& out);

}  // namespace koGeom
