#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

struct RepairOptions {
    bool weld = true;                 ///< merge vertices at exactly equal positions first
    bool selfIntersections = false;   ///< remove triangles that cut one another
    std::optional<double> foldAngle;  ///< degrees; remove triangles on edges that open by less
    std::optional<double>
        dustShare;            ///< of the area: leave parts of less out in the end; above 0, below 1
    bool dropUnused = false;  ///< leave vertices out in the end that no triangle uses
    bool outward =
        false;  ///< at last, turn closed parts over that are inside out, see turnPartsOutward
};

/// One single fix and what it changed.
struct RepairStep {
    std::string what;
    int trianglesRemoved = 0;
    int trianglesTurned = 0;
    int verticesRemoved = 0;
    int verticesSplit = 0;  ///< new vertices made by parting one that several fans shared
    double seconds = 0.0;
};

struct RepairOutcome {
    std::vector<RepairStep> steps;
    bool fullyRepaired = false;  ///< nothing that was asked for is left
    bool cancelled = false;  ///< stopped between two fixes; the mesh is valid and partly repaired
    std::string refusal;     ///< not empty: why nothing was done, and what to do instead
    std::optional<std::array<double, 3>> problemPoint;  ///< where, when the refusal has a place
};

/// Repairs a mesh fix by fix and tells each one: weld, duplicate and degenerate triangles, non-manifold edges, then
/// vertices, orientation, Moebius strips, and on request intersections, folds, dust and unused vertices. Material is removed,
/// vertices are parted, triangles are turned; no hole is filled and no vertex moved. A part is what hangs together in vertices.
///
/// refusal     intersections without welding, where coincident vertices exist: triangles that touch along such a
///             seam count as cutting, and much of the mesh would go; a share of dust that leaves no part
/// progress    polled between two fixes
TRIMORA_API RepairOutcome repairMesh(koGeom::CompactMesh& mesh, RepairOptions const& options,
                                     koUtil::Progress& progress);

}  // namespace trimora
