#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <limits>

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshBoundaries;

/// What a call of meshStitch found and did.
struct MeshStitchReport {
    enum class Outcome {
        Sewn,       ///< every pair of edges along the stretches was joined
        LeftOpen,   ///< sewn, but for pairs that would have made the surface non-manifold
        Shifted,    ///< not sewn: the look-up of an end gave a place on another boundary
        NoPlace,    ///< not sewn: an end is not on an open edge of the mesh
        NoWay,      ///< not sewn: the boundaries no longer lead from end to end, or share edges
        SameSense,  ///< not sewn: the stretches run the same way
        TooFar,     ///< not sewn: two ends that would meet are farther apart than the caller allows
    };

    /// A pair of stretches that run alongside each other, in the order in which they were sewn.
    struct Seam {
        int boundary;       ///< number among the boundaries of the latest attempt
        int otherBoundary;  ///< the same
        bool circular;      ///< both are whole loops
        double length;      ///< of the first stretch, as far as it is near the other one
        double gap;  ///< about the widest distance between them, from sample to nearest sample
        Outcome outcome;
        double sewnLength =
            0.0;  ///< of the first stretch between the ends of the seam; 0 when not sewn
        double endDistance = 0.0;  ///< the wider one between ends that meet; 0 where there is none
        ko::vector<Point>
            ends;  ///< of a seam that was sewn, but not of a circular one: where they are now
    };

    ko::vector<Seam> seams;
    /// One vertex, by its number before the call, of each component that was turned round.
    ko::vector<int> turnedComponents;
    /// Boundaries of the latest attempt that took part: those with 10 samples or more.
    ko::vector<int> sampledBoundaries;
};

/// Closes the gaps between boundary loops that run alongside each other.
///
///      o---o-----o---o         o---o-----o---o       Stretches of the loops that are near each other for more than twice
///     /    |     |    \       / \  |    /|  / \      the distance are found on samples, about a fifth of the distance
///    o-----o-----o-----o     o---o-o---o-o-o---o     apart. Both sides get each other's vertices and are joined
///      gap              ->    \ / \ | / \|/ \ /      (MeshStitchSeam).
///    o--------o--------o       o----o----o----o
///
/// mesh        edited in place
/// adjTris, boundaries   the mesh's own tables, up to date
/// chosen      the boundaries that take part, in any order
/// distance    in mesh units: how near is alongside. Infinite is allowed
/// tolerance   of MeshStitchSeam, in edge lengths. About 0.01 does least harm: a vertex that is nearer than this to the start
///             of the other side's edge is moved half way along it, so that large values fold small triangles; with 0
///             vertices come to lie on top of each other
/// returns     true when the mesh was put together again, also when nothing was alongside. False when a table is null or does
///             not fit the mesh, the distance is not above 0, fewer than two boundaries have 10 samples or more, ints cannot
///             count the samples, or the sides cannot be brought to run against each other: the mesh is left as it is then,
///             but for components that were turned round
/// winding     where boundaries run the same way, the component of every boundary that must be turned is turned round, once,
///             and all is tried once more; each sends what meshReverseWinding sends
/// small loops of fewer than 10 samples take no part. One that is listed before others shifts the places of their seams
///             along them, or leaves them unsewn: leave such loops out of `chosen`
/// skips       a seam whose ends do not lead to each other along the boundary, with a line on the debug channel
/// sends       one Topology modification, by the merge of MeshModifyRep; the selection is empty afterwards, which is left
///             alone where the result is false
/// order       vertices: first those without a neighbour on a triangle at a boundary, as they were, then those of the two
///             rings of triangles along the boundaries; triangles likewise. Of these vertices nothing but the position is kept
/// cost        linear in the mesh, and that of MeshLineTopology for the samples: length of the loops times 5 / distance
/// threads     runs on the calling thread; the tables, and the search for samples near each other, on the shared pool
TRIMORA_API bool meshStitch(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                            ko::Reference<MeshBoundaries> boundaries, ko::vector<int> const& chosen,
                            double distance, double tolerance);

/// All boundaries.
TRIMORA_API bool meshStitch(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                            ko::Reference<MeshBoundaries> boundaries, double distance,
                            double tolerance);

/// The same, and tells what became of each seam; `report` is replaced.
///
/// farthestEnds  a seam of which two ends would meet that are farther apart than this is not sewn
TRIMORA_API bool meshStitch(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                            ko::Reference<MeshBoundaries> boundaries, ko::vector<int> const& chosen,
                            double distance, double tolerance, MeshStitchReport& report,
                            double farthestEnds = std::numeric_limits<double>::infinity());

}  // namespace koGeom
