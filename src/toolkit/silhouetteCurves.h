#pragma once

#include "toolkit/polylines.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// From where a mesh is looked at: from a point, or along a direction.
struct SilhouetteView {
    bool isDirection = false;
    /// The eye, in mesh units; or the direction from the mesh to the viewer, of any length but 0.
    std::array<double, 3> place = {};
};

struct SilhouetteOutcome {
    std::string refusal;  ///< not empty: what is wrong, and what to do; no curves then
    std::optional<std::array<double, 3>> problemPoint;
    bool isNonfinite = false;      ///< refused for a NaN or infinite corner
    std::vector<Polyline> curves;  ///< closed ones end with their first point
    int numClosed = 0;
    double length = 0.0;  ///< of all curves
    /// Triangles that the sight runs along as a whole, so that a silhouette is anywhere on them. They give no lines, and
    /// curves that reach them end there.
    int alongSight = 0;
    bool cancelled = false;  ///< there are no curves; the other fields mean nothing
};

/// The silhouette of a mesh as chains: where the normal, interpolated between the vertices, is at right angles to the sight, to a
/// millionth of a radian. See koGeom::MeshSilhouette; koGeom::MergeSegments chains.
///
/// mesh        its normals are taken where it has some of its own, at unit length; else they are computed
/// refuses     NaN or infinite corners, and an eye that is farther away than a million diagonals
/// returns     curves whose left side, seen from outside the surface, is the one that faces the viewer. Open ones end on a border of
///             the mesh, or on triangles along the sight
/// sizes       works at a diagonal of about 1. Ends within a millionth of the diagonal, or of the largest coordinate if that is more,
///             are chained
/// progress    polled between the steps
/// cost        O(triangles) and O(k log k) for k segments, on the calling thread
TRIMORA_API SilhouetteOutcome silhouetteCurves(koGeom::CompactMesh const& mesh,
                                               SilhouetteView const& view,
                                               koUtil::Progress& progress);

}  // namespace trimora
