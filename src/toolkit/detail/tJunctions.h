#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <array>
#include <vector>

namespace trimora {

/// A vertex of a border that lies on one of the border's edges, between its ends.
struct TJunction {
    int vertex;
    std::array<int, 2> edge;  ///< the lower vertex first
};

/// Finds them: the edge runs past the vertex instead of ending there.
///
/// loop        in order, the last vertex joined to the first
/// tolerance   distance from the edge in mesh units; from its ends it is twice that at least
/// order       by vertex, each once with its nearest edge
/// cost        O(n log n), but for edges much longer than others
std::vector<TJunction> findTJunctions(koGeom::CompactMesh const& mesh, std::vector<int> const& loop,
                                      double tolerance);

}  // namespace trimora
