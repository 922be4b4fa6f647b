#pragma once

#include "toolkit/meshHoles.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

inline constexpr int maxCollarSamples = 10'000'000;  ///< some 6 GB of them

struct CollarOptions {
    int samples =
        0;  ///< at equal steps, 1 to maxCollarSamples; 0: as many as the border has vertices
    bool curvature = false;
};

/// A place on a border. Vectors are unit ones, or zero where there is none.
struct CollarSample {
    std::array<double, 3> position;
    double distance;  ///< along the border, from its first vertex
    std::array<int, 2>
        edge;  ///< the border edge that it stands on, from its first vertex up to but without the second
    std::array<double, 3> normal;

    /// Off the surface, at right angles to the normal and to the border; on a vertex, to the mean of both edges.
    std::array<double, 3> outward;

    /// koGeom::MeshCollar's: where the triangles lean away to, which tells how the surface would go on. On flat ground that is
    /// `outward`; on curved borders it follows the triangulation and may run along the border: see decision 0095.
    std::array<double, 3> direction;
    double
        curvature;  ///< across the border, in the plane of normal and direction; 0 when not asked for
};

struct CollarOutcome {
    std::string refusal;  ///< not empty: there are no samples; what is wrong, and what to do
    std::optional<std::array<double, 3>> problemPoint;
    double length = 0.0;  ///< of the border
    std::vector<CollarSample> samples;
    double seconds = 0.0;
};

/// Samples a whole border at equal steps, for a band that is to be grown from it: the first sample on its first vertex, then on
/// in walking order, the surface on the left.
///
/// hole       a border of the mesh as it stands, see findHoles
/// refuses    a border with a fault, or without length
/// sizes      very small and very large meshes are scaled meanwhile, see unitScale
/// prints     with curvature the core writes "curvature: %f\n" to std::cout for each sample, that of the scaled mesh: a caller
///            that needs its standard output sends it elsewhere meanwhile
/// cost       linear in the mesh, the border and the samples; some 100 bytes a triangle and 600 a sample. On the calling thread
TRIMORA_API CollarOutcome sampleCollar(koGeom::CompactMesh const& mesh, MeshHole const& hole,
                                       CollarOptions const& options);

}  // namespace trimora
