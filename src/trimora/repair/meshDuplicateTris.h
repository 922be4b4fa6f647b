#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Triangles that a clean mesh does not have, by their numbers.
class TRIMORA_API MeshDuplicateTrisResult {
public:
    /// Same three vertices, in any order, as a triangle of lower number. Ascending by the sorted
    /// vertices, then by number. May hold degenerate triangles too.
    ko::vector<int> duplicates;
    /// Two vertex numbers are equal; ascending.
    ko::vector<int> topoDegenerate;
    /// Three vertex numbers, but two of the vertices lie at exactly the same position; ascending.
    ko::vector<int> geomDegenerate;

    /// Anything was found.
    explicit operator bool() const {
        return !duplicates.empty() || !topoDegenerate.empty() || !geomDegenerate.empty();
    }

    /// The union of the three lists.
    ///
    /// mesh   the one that was tested
    /// out    replaced: triangle numbers, ascending, each once
    void getBadTriangles(CompactMesh const& mesh, ko::vector<int>& out) const;
};

/// Finds duplicated and degenerate triangles.
///
/// result    out: replaced
/// returns   whether anything was found
/// cost      linear but for sorting what shares its lowest vertex; 16 bytes a triangle and 4 a
///           vertex of scratch
/// order     of k equal triangles the one with the lowest number is not listed
///
/// Winding plays no part: (1, 2, 3) and (3, 2, 1) are duplicates. Positions are compared exactly as
/// they are stored; NaN equals nothing.
TRIMORA_API bool meshDuplicateTris(CompactMesh const& mesh, MeshDuplicateTrisResult& result);

/// Deletes the triangles that `result` names, with the vertices that nothing else uses.
///
/// adj      the mesh's own table; stale after the call
/// result   of this very state of the mesh
/// sends    one Topology modification and leaves the selections empty; an empty result touches
///          nothing
TRIMORA_API void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adj,
                                         MeshDuplicateTrisResult const& result);

/// Finds and deletes.
TRIMORA_API void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adj);

}  // namespace koGeom
