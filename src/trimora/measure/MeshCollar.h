#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshBoundaries;
class MeshCollarImpl;
class MeshCoord;
class MeshCurve;

/// Gives places along a stretch of a boundary, or along a curve on the mesh, each with what a band needs that is to be grown from
/// there: a normal, a direction and, if asked for, how the surface bends across the boundary.
///
///        \ | | | /      directions
///      ---x-x-x-x---    samples, the first one on `start`, the last one on `end`
///       / \ / \ / \     the surface
///
/// stretch     from `start` to `end` along the boundary: `forward` goes as the triangles run, with the surface on the left. Ends that are
///             one vertex give nothing; ends on one edge of which the first comes later, or none, go all the way round
/// curve       its points in order; the two ends are their nearest places on it, the first of equals. The part between runs from `start` to
///             `end` and never over the joint of a closed curve; it is empty when the places are one
/// samples     at equal steps of the stretch's length: k pieces give k + 1 samples, k when the curve is closed, the first one where
///             the stretch begins. A stretch of one place or without length, or less than one piece, is given as it is
/// refuses     with an empty result, or a distance of 0: a boundary that does not exist, an end that is not on it (within epsilonTol), and
///             coordinates on no triangle; points of a curve that have none are passed over
/// lifetime    mesh and tables outlive the object and do not change; a copy of the object shares what its source owns and must not
///             outlive it
/// threads     the calling thread; several calls at once do not disturb each other but on the standard output
/// cost        one pass over the mesh, and O(n) for the n triangles at the stretch, which become a half-edge mesh for each call
class TRIMORA_API MeshCollar {
public:
    struct Params {
        bool computeCurvature = false;
        bool useExistingPoints = true;  ///< as many samples as the stretch has points
        int numPoints = 0;              ///< pieces, when useExistingPoints is false
        /// The boundary has a corner at a vertex where the cosine between its two edges, sign left out, is below 1 - cornerAngle:
        /// the usual 10 degrees in radians stand for a turn of 34.
        double cornerAngle = 0.17453292519943295;
    };

    /// A sample. Vectors are unit ones, or zero where there is none.
    ///
    /// normal      that of the surface. On the boundary the mean of the triangles on the two edges there; at a corner, on an edge that
    ///             ends there, that of the edge's own side alone. At an end of an open stretch that of the boundary edge just
    ///             outside it. Between two vertices it is interpolated
    /// direction   on a vertex: away from where the triangles around it lean; on an edge: the part at right angles to the normal of the
    ///             difference of the two ends'. Where that is zero (below epsilonTolFlt), as on flat ground, off the surface at right angles to the
    ///             border, and zero in the interior. In a face: the mean of its corners' normals
    /// curvature   0 unless computed: along the cut of the triangles at the sample with the plane of direction and normal. 0 with
    ///             fewer than three points to it
    struct Point {
        koLinear::Point position;
        koLinear::Vector direction;
        koLinear::Vector normal;
        double curvature = 0.0;
    };

    MeshCollar(CompactMesh const& mesh, MeshAdjTris const& adjTris,
               MeshBoundaries const& boundaries);
    MeshCollar(MeshCollar const& other);
    MeshCollar& operator=(MeshCollar const&) = delete;
    ~MeshCollar();

    /// Length of the stretch.
    double getDistance(MeshCoord const& start, MeshCoord const& end, int boundary, bool forward);

    // Samples. `result` is replaced. With computeCurvature each curvature is printed on the standard output as well, a line each:
    // "curvature: %f\n".

    void getPoints(MeshCoord const& start, MeshCoord const& end, Params const& params, int boundary,
                   bool forward, ko::vector<MeshCollar::Point>& result);
    void getPoints(MeshCoord const& start, MeshCoord const& end, Params const& params,
                   MeshCurve const& curve, ko::vector<MeshCollar::Point>& result);
    void getPoints(Params const& params, MeshCurve const& curve,
                   ko::vector<MeshCollar::Point>& result);

private:
    MeshCollarImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
