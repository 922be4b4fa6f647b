#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>

namespace trimora {

struct OutwardOutcome {
    std::string refusal;  ///< not empty: nothing was changed; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    int partsTurned = 0;
    int trianglesTurned = 0;
    double seconds = 0.0;
    bool cancelled = false;  ///< the mesh is as it was; the other fields mean nothing
};

/// Turns closed parts that are inside out over, so that they face outward.
///
/// A part is closed where each of its edges has two triangles that are wound alike; vertices in one place count as one only in
/// a mesh whose triangles share next to none. Parts lie in each other: what none or an even number of others surrounds has to face
/// outward. What an odd number surrounds may bound a cavity and face inward, and stays as it is; but if what lies right round it is
/// turned, and it faced outward, the two were inside out together, and it is turned along.
///
/// mesh        edited in place: two corners of each such triangle change places, and its normals and those of its vertices their
///             signs; strips and fans are dropped then. Selections stay
/// progress    polled between parts that may lie in each other
/// sends       one Topology modification if anything was turned
/// cost        O(n log n), and a query of a closest point for each pair of parts of which the box of one holds the other's
TRIMORA_API OutwardOutcome turnPartsOutward(koGeom::CompactMesh& mesh, koUtil::Progress& progress);

}  // namespace trimora
