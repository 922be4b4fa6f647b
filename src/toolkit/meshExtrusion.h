#pragma once

#include "toolkit/meshCounts.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koUtil/Progress.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

struct ExtrudeOptions {
    double distance = 0.0;  ///< in mesh units; below 0 goes the other way
    /// Where to; of any length but 0. Without it each region goes along the mean of its triangles' normals, by area.
    std::optional<koLinear::Vector> direction;
};

struct ExtrudeOutcome {
    std::string refusal;  ///< not empty: nothing was changed; what is wrong, where, and what to do
    std::optional<std::array<double, 3>> problemPoint;  ///< where, when the refusal has a place
    bool isNonfinite =
        false;            ///< refused for a NaN or infinite coordinate in or beside the selection
    int regions = 0;      ///< connected parts of the selection, each lifted along its own normal
    int freeRegions = 0;  ///< those that were a surface of their own: they became closed solids
    int flatRegions =
        0;  ///< those that the direction only slides along themselves: no volume lies below them
    int walls = 0;                     ///< quads along the borders
    std::vector<std::string> dropped;  ///< vertex sets that the mesh had, see dropVertexSets
    bool cancelled = false;            ///< the mesh is as it was; the other fields mean nothing
};

/// Lifts triangles by a distance and joins them with walls to where they were.
///
///         top        the lifted triangles          a region within a larger surface is replaced: walls
///        |   |       walls, two triangles a quad   stand on the rim that it leaves
///     ---     ---    the surface                   a free one stays as the floor of a closed solid
///
/// mesh        edited in place, without its vertex sets; vertices and triangles are renumbered. The selection and
///             what touches it have to be manifold and oriented, and so is the result, but that a vertex at which a region touches itself becomes a
///             wall's edge of four. A solid is wound so that its normals point out
/// selection   one bit a triangle. Triangles that share a vertex are one region. All its borders get walls
/// refuses     a selection that is no oriented manifold; a region without a border, which is a closed surface; a region whose
///             normals cancel out, when no direction is given; a distance that leaves the range of floats, or that their
///             rounding swallows
/// progress    polled between the steps
/// cost        O(n log n) for n half-edges, on the calling thread
TRIMORA_API ExtrudeOutcome extrudeMesh(koGeom::CompactMesh& mesh,
                                       koGeom::BitVector const& selection,
                                       ExtrudeOptions const& options, koUtil::Progress& progress);

}  // namespace trimora
