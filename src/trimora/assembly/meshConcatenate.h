#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshPlacement.h"
#include "trimora/contract/koString/CString.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Puts meshes together into one, each through its placement's matrix.
///
/// target       its vertices, triangles and sets are replaced by those of all listed meshes, in
///              list order; its polygons, lines and line strips go. May itself be listed
/// placements   an empty list changes nothing; placements without a mesh are passed over
/// names        sets to carry, a set taking its dimension and its storeable flag from the first
///              mesh that has it; null: those that all meshes have. The positions are carried
///              always. A mesh that lacks a set, or has it in another dimension, leaves zeros
/// flips        one flag a placement, as testDeterminants gives them; null: none. Turns the
///              triangles of that mesh over (first and third corner change places) and negates its
///              normals
/// strips       kept only if every mesh has a strip or a fan; then they follow after the target's
///              own, which stay as long as their indices are in range. A flip reverses a strip, and
///              a fan but for its first point
/// normals      are mapped by the matrix's normal matrix and not brought back to unit length; a
///              matrix that has none leaves them
/// cost         linear
/// sends        one Topology modification with the carried sets marked
TRIMORA_API void
meshConcatenate(CompactMesh& target, ko::list<MeshPlacement> const& placements,
                ko::set<koString::CString, ko::less<koString::CString>> const* names,
                ko::vector<bool>* flips);

}  // namespace koGeom
