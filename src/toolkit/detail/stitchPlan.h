#pragma once

#include "toolkit/meshHoles.h"

#include <cstdint>
#include <vector>

namespace trimora {

inline constexpr double samplesPerDistance = 5.0;  // of koGeom::meshStitch

/// Pairs of loops, each counted from both sides, with a vertex each within the distance of one another: as many as a grid tells,
/// hence no more than there are.
///
/// loops   places in the list of holes
std::int64_t countNearPairs(koGeom::CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                            std::vector<int> const& loops, double distance);

}  // namespace trimora
