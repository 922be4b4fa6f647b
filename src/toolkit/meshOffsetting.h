#pragma once

#include "toolkit/meshCheck.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

struct OffsetOptions {
    double distance =
        0.0;  ///< in mesh units: above 0 against the normals, inwards; below 0 outwards
    bool shellOnly = false;         ///< the copy alone, without the surface and what joins the two
    bool testIntersections = true;  ///< also count triangles that cut each other, before and after
};

struct OffsetOutcome {
    std::string refusal;  ///< not empty: the mesh is as it was; what is wrong, where, what to do
    std::optional<std::array<double, 3>> problemPoint;
    bool isNonfinite = false;  ///< refused for a NaN or infinite coordinate
    int copies = 0;            ///< vertices of the shell at first: one each of the surface
    int removed = 0;           ///< of these: too near to a vertex of the surface, or on a fold
    /// Of those that are left: nearer to the surface than the distance, by more than a millionth of the diagonal; along creases
    /// vertices cannot keep it from both sides.
    int nearer = 0;
    double nearest = 0.0;  ///< the smallest distance of those that are left to the surface
    CheckResult before;    ///< of the surface
    CheckResult after;     ///< of the result
    double seconds = 0.0;  ///< of the offset alone
    std::vector<std::string> dropped;  ///< vertex sets that the mesh had, see dropVertexSets
    bool cancelled = false;            ///< the mesh is as it was; the other fields mean nothing

    /// Folded edges, and triangles that cut others, beyond those that surface and copy have from the surface.
    TRIMORA_API int newFolds() const;
    TRIMORA_API int newIntersections() const;

    bool shellOnly = false;
};

/// Makes a wall of a surface, or a shell beside it: see koGeom::MeshOffset.
///
/// mesh        replaced: the surface's vertices first, with the coordinates that they had, without those that no triangle uses;
///             then the copies that are left. With shellOnly the copies alone. Without its vertex sets
/// facing      a wall is a solid with its normals out, whichever side the copy is on; the shell alone looks as the surface does
/// sizes       works at a diagonal of 1, as the library measures nearness in absolute numbers, and scales back
/// distance    each copy is as far from its own vertex as floats can tell
/// refuses     what is no oriented manifold; a distance of 0, one that the rounding of coordinates swallows, or that is more than a
///             thousand diagonals
/// progress    polled between the steps, and while distances are measured
/// sends       one Topology modification
/// cost        koGeom::MeshOffset, a closest point for each copy, two checks; on the calling thread but for the checks
TRIMORA_API OffsetOutcome offsetMesh(koGeom::CompactMesh& mesh, OffsetOptions const& options,
                                     koUtil::Progress& progress);

}  // namespace trimora
