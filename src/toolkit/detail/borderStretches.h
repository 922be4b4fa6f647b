#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <vector>

namespace trimora {

/// A stretch of a border that another stretch, or another part of the same border, runs beside.
struct BorderStretch {
    int loop;  ///< place in the list of loops
    std::vector<int>
        vertices;  ///< in order, one more than edges; the first again where it is the whole loop
    double length;
    double gap;  ///< the widest distance from the middle of one of its edges to the other side
};

/// Finds the edges of borders that have another open edge beside them, nearly parallel and nearer than 0.15 of the shorter of the
/// two, and joins what follows each other. The sides of a narrow strip of surface do not count: triangles with a common vertex.
/// Loops that face each other along nearly all of their length, no farther away than 0.02 of it, are found as wholes whatever their
/// edges: where the surface goes away from the gap on both sides, as at the halves of a cut ball.
///
/// loops    of open edges, closed
/// isOut    one a vertex of each loop: the edge that leaves it takes no part
/// order    by loop, then along it
/// cost     O(n log n) in the edges of the loops
std::vector<BorderStretch> findBorderStretches(koGeom::CompactMesh const& mesh,
                                               koGeom::MeshAdjTris const& adjTris,
                                               std::vector<std::vector<int>> const& loops,
                                               std::vector<std::vector<char>> const& isOut);

}  // namespace trimora
