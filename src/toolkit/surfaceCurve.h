#pragma once

#include "toolkit/planeSection.h"
#include "toolkit/polylines.h"

#include "trimora/connectivity/MeshCache.h"
#include "trimora/contract/koUtil/Progress.h"

#include <string>
#include <vector>

namespace trimora {

/// Polylines laid on a mesh.
struct LaidCurves {
    SurfaceCurves curves;   ///< one a polyline, in order
    double farthest = 0.0;  ///< the largest distance of a point from where it was laid
    std::string
        refusal;  ///< not empty: which stretch could not be laid, and what to do; no curves then
    koLinear::Point problemPoint;  ///< where, when it was refused
    bool cancelled = false;
};

/// Lays polylines on a mesh: each point goes to the nearest place of the surface, and a stretch between points that share
/// no triangle follows the surface within the plane through both and the mean of the surface's normals there, from the
/// first point towards the second.
///
///            p          n = mean of the normals at p and q
///       -----x----\.                      the plane of p, q and n cuts the triangles between:
///            |     \ q                    the curve has a point on each edge that it crosses
///            n------x-----
///
/// mesh        manifold along the way; tables come from the cache, but for very small and very large meshes, which are
///             scaled meanwhile, see unitScale
/// tolerance   length, >= 0; places nearer than that to a vertex or an edge are moved onto it
/// refuses     a stretch that meets the border or an edge of more than two triangles, one whose ends face away from one
///             another, so that there is no such plane, and one that comes back without having met its end
/// progress    polled at every point
/// cost        a closest point for each point, and the triangles that the curve passes, on the calling thread
TRIMORA_API LaidCurves laySurfaceCurves(koGeom::CompactMesh const& mesh, koGeom::MeshCache& cache,
                                        std::vector<Polyline> const& polylines, double tolerance,
                                        koUtil::Progress& progress);

}  // namespace trimora
