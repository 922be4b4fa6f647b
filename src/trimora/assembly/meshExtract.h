#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Copies part of a mesh into another one: the listed vertices and triangles and all attribute
/// sets.
///
/// target   replaced; element k comes from the k-th entry of the subset's lists. Strips, fans,
///          polygons, lines and selections do not travel; what the target had of them goes, but for
///          its selections
/// source   not changed; may be the target
/// subset   must be closed: a corner outside its vertices becomes -1; indices in range, not checked
/// cost     linear; one int a vertex of the source as scratch
/// sends    one Topology modification with the sets marked
TRIMORA_API void meshExtract(CompactMesh& target, CompactMesh const& source,
                             MeshSubset const& subset);

/// The same for several subsets, which may overlap, into new meshes.
///
/// targets   replaced by one mesh a subset, in order; an empty one for a null subset
/// cost      linear in the source once and in what is copied
TRIMORA_API void meshExtract(ko::vector<CompactMesh>& targets, CompactMesh const& source,
                             ko::list<ko::Reference<MeshSubset>> const& subsets);

/// The same for the source's selected vertices and triangles, each in ascending order.
TRIMORA_API void meshExtract(CompactMesh& target, CompactMesh const& source);

}  // namespace koGeom
