#pragma once

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <optional>
#include <string>
#include <vector>

namespace trimora {

struct DeviationOptions {
    koLinear::AffineMatrix matrix;              ///< from the mesh's coordinates to the world's
    koLinear::AffineMatrix referenceMatrix;     ///< from the reference's
    std::optional<koGeom::BitVector> selected;  ///< the vertices to measure; without it all are
    bool flip = false;                          ///< all signs the other way round
};

/// What the values of the measured vertices come to.
struct DeviationStatistics {
    /// Vertices with a value in [low, high).
    struct Bin {
        double low;
        double high;
        int vertices;
    };

    int measured = 0;  ///< 0: the other fields mean nothing
    double minimum = 0.0;
    double maximum = 0.0;
    int lowest = -1;  ///< the vertex with the minimum, the first of equals
    int highest = -1;
    double mean = 0.0;
    double meanAbsolute = 0.0;
    double rms = 0.0;

    struct Percentile {
        double percent;
        double value;     ///< the least value that so many percent of the vertices do not exceed
        double absolute;  ///< the same of the values without their signs
    };
    std::vector<Percentile> percentiles;  ///< 1, 5, 25, 50, 75, 95 and 99

    /// Bins of one width, 1, 2 or 5 times a power of ten, the least with which there are at most 21 of them; one begins at 0, so
    /// that the signs are kept apart. A single bin from the value to itself when all values are alike.
    std::vector<Bin> histogram;
};

struct DeviationOutcome {
    std::string refusal;        ///< not empty: nothing was measured; what is wrong, and what to do
    bool isNonfinite = false;   ///< refused for a NaN or infinite coordinate of the reference
    std::vector<float> values;  ///< one a vertex, in the world's units; NaN where not measured
    int selected = 0;           ///< vertices that were to be measured
    bool computedNormals = false;  ///< the mesh had none to take the signs from
    DeviationStatistics statistics;
    double seconds = 0.0;
    bool cancelled = false;  ///< the other fields mean nothing then
};

/// Measures how far each vertex of a mesh is from the surface of a reference, and on which side of it (koGeom::MeshDeviation).
///
/// sign        above 0 where the vertex stands off the reference along its own normal, below 0 where it has sunk beneath it. The
///             normals are those of the mesh, computed where it has none; a vertex without one (or without a triangle that has a
///             normal) counts as above
/// nearest     in the reference's own coordinates, see koGeom::MeshDeviation: a matrix that scales its axes differently
///             may make another place the nearest one in the world
/// refuses     a reference without triangles, with NaN or infinite corners, or under a matrix without an inverse
/// not measured    vertices with NaN or infinite coordinates, and what leaves the range of floats
/// sizes       very small and very large references are scaled meanwhile, see unitScale
/// progress    polled every 200 vertices of a thread
/// cost        an octree of the reference and a search for each vertex, on the shared pool; the result does not depend on the
///             number of threads
TRIMORA_API DeviationOutcome measureDeviation(koGeom::CompactMesh const& mesh,
                                              koGeom::CompactMesh const& reference,
                                              DeviationOptions const& options,
                                              koUtil::Progress& progress);

/// The statistics of any values, one a vertex; NaN and infinite ones count as not measured. Sums in the order of the vertices.
TRIMORA_API DeviationStatistics deviationStatistics(std::vector<float> const& values);

}  // namespace trimora
