#pragma once

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

struct SmoothOptions {
    enum class Method {
        Laplacian,  ///< to the mean of the neighbours, see koGeom::meshSmoothLaplacian
        Bilateral   ///< along the normal, edges stay, see koGeom::meshSmoothBilateral
    };

    Method method = Method::Laplacian;
    int passes = 1;  ///< 1 or more
    double sigma =
        0.0;  ///< of the bilateral filter, in mesh units, above 0; a mean edge to begin with
    bool keepBorders = false;  ///< vertices on borders stay, whether they are selected or not
};

struct SmoothOutcome {
    std::string refusal;  ///< not empty: nothing was changed; what is wrong, and what to do
    std::optional<std::array<double, 3>> problemPoint;
    bool isNonfinite = false;            ///< refused for a NaN or infinite corner
    int passes = 0;                      ///< that were done
    int free = 0;                        ///< vertices that the passes could move
    int fixed = 0;                       ///< all others
    int moved = 0;                       ///< those that lie elsewhere now
    double largest = 0.0;                ///< movement, in mesh units
    double rms = 0.0;                    ///< of the movements of the free vertices
    std::optional<double> volumeBefore;  ///< of a mesh that encloses one, see measureMesh
    std::optional<double> volumeAfter;
    std::vector<std::string> dropped;  ///< "normals", when the mesh had some of its own: stale now
    bool cancelled = false;            ///< the mesh is as it was; the other fields mean nothing
};

/// Smooths a mesh, or a part of it, in passes.
///
/// mesh        free vertices are moved; all others keep their coordinates to the last bit. Texture coordinates stay
/// triangles   one bit each: the corners of the selected ones are free. A vertex without neighbours never is
/// refuses     NaN or infinite corners
/// sizes       sizes and units make no difference: the bilateral filter works at a size at which its absolute idea of flat is far
///             below what floats resolve; the Laplacian scales very small and very large meshes, see unitScale
/// normals     those that the bilateral filter needs are computed before each pass; the mesh's own are not read
/// progress    polled at every 1000th vertex of a pass
/// sends       one Geometry modification if any vertex moved
/// cost        the passes, on a copy of the positions and triangles; on the calling thread but for normals and tables
TRIMORA_API SmoothOutcome smoothMesh(koGeom::CompactMesh& mesh, koGeom::BitVector const& triangles,
                                     SmoothOptions const& options, koUtil::Progress& progress);

}  // namespace trimora
