#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshPlacement.h"
#include "trimora/contract/koUtil/Progress.h"

#include <array>
#include <optional>
#include <string>

namespace trimora {

struct MergeOutcome {
    std::string refusal;  ///< not empty: nothing was merged; what is wrong, and what to do
    std::optional<std::array<double, 3>> problemPoint;  ///< of the mesh as it is
    int mesh = -1;             ///< the mesh that was refused, by its place in the list
    bool isNonfinite = false;  ///< refused for a NaN or infinite coordinate of the mesh as it is
    int verticesMerged = 0;    ///< fewer than there were in all meshes
    int degenerateTriangles =
        0;  ///< name a vertex twice, and did not before; they stay in the result
    double seconds = 0.0;
    bool cancelled = false;  ///< the result is left as it was; the other fields mean nothing
};

/// Length of the diagonal of the box round all finite vertices of placed meshes; places without a mesh are passed over.
TRIMORA_API double diagonalOf(ko::list<koGeom::MeshPlacement> const& meshes);

/// Puts placed meshes into one, welding vertices that lie within a box about each other (koGeom::MeshMerge).
///
/// meshes      positions and triangles count, no other vertex sets
/// tolerance   half-size of the box in mesh units, not below 0; 0 welds equal positions
/// result      replaced; vertices and triangles in the order of the meshes, its own before the call forgotten
/// refuses     triangles with NaN or infinite corners, before or after they are placed; more than ints can count. The result is
///             left as it was
/// progress    polled between the steps, of which welding is one
/// sends       nothing
TRIMORA_API MergeOutcome mergeMeshes(ko::list<koGeom::MeshPlacement> const& meshes,
                                     double tolerance, koGeom::CompactMesh& result,
                                     koUtil::Progress& progress);

}  // namespace trimora
