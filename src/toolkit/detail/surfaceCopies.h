#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Remap.h"

#include <vector>

namespace trimora {

/// Triangles that lie on others by position, while their vertices are their own.
struct SurfaceCopies {
    /// Those of parts that lie whole on other parts: without them nothing is open that was not. Ascending.
    std::vector<int> ofParts;
    /// The others that lie on one of lower number, as where two solids touch in a wall. Ascending.
    std::vector<int> touching;
};

/// Finds them. Of parts that lie on each other the one of the lowest triangle is the original.
///
/// mesh      without triangles that name a vertex twice, once welded
/// weld      of its vertices, by position
/// cost      O(n log n)
SurfaceCopies findSurfaceCopies(koGeom::CompactMesh const& mesh, koGeom::MeshAdjTris const& adjTris,
                                koGeom::Remap const& weld);

}  // namespace trimora
