#pragma once

#include "toolkit/detail/coplanarOverlaps.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// Two triangles of a mesh that cut each other, and where.
struct SelfCut {
    int triangle;  ///< the one with the lower number
    int other;
    koLinear::Point start;
    koLinear::Point end;
    /// koGeom::MeshIntersect finds it on this mesh as it is, and so does all that rests on it.
    bool isPlain;
};

/// All pairs of triangles that cut each other: those without a common vertex as koGeom::MeshIntersect decides for any order of
/// their corners, so that a corner exactly in the other one's plane hides nothing; those with one common vertex where the
/// cut goes on from it through the inside of one of the two.
///
/// mesh       welded; triangles without area take no part
/// which      no touching in a point, no overlap of triangles in one plane, see `overlaps`; where an edge lies in the other
///            triangle's plane rounding decides, but for pairs with a common vertex: an edge from it that runs within the other
///            triangle cuts
/// overlaps   out, replaced, unless null: pairs in one plane that share area, as OverlapTest decides, with one common vertex or
///            none; ascending likewise. Pairs that cut are not among them
/// order      ascending by the higher triangle, then by the lower one
/// progress   polled; what was found until then when it is cancelled
/// cost       three times MeshIntersect, and O(k log k) a vertex with k triangles where few of these cut each other
/// threads    runs on the shared pool; the outcome does not depend on its size
/// scale      works at a size at which the library's absolute tolerances are fitting, see unitScale
TRIMORA_API std::vector<SelfCut> findSelfCuts(koGeom::CompactMesh const& mesh,
                                              koUtil::Progress& progress,
                                              std::vector<CoplanarOverlap>* overlaps = nullptr);

}  // namespace trimora
