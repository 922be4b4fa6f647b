#pragma once

#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshClosestPtOnLineImpl;
class MeshSequence;

/// Finds the place nearest to a point on paths along the edges of a mesh, and near the mesh.
///
/// lifetime    mesh and table outlive the object and do not change; the path is copied. A copy of
///             the object shares what its source owns and must not outlive it
/// threads     one call at a time
class TRIMORA_API MeshClosestPtOnLine {
public:
    /// path        runs of vertices, each beside the next on an edge; not closed by itself
    MeshClosestPtOnLine(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                        MeshSequence const& path);
    MeshClosestPtOnLine(MeshClosestPtOnLine const& other);
    MeshClosestPtOnLine& operator=(MeshClosestPtOnLine const&) = delete;
    ~MeshClosestPtOnLine();

    /// The place on the path: a corner of weight 1 where p lies on one of its vertices, else on an
    /// edge. It is looked for in a box about p and the closest point of the band of triangles along
    /// the path. Where no edge of the path comes into the box the result is that closest point, as
    /// a coordinate on the band and not on the mesh: callers know this oddity. An invalid
    /// coordinate when the path lies on no triangle.
    MeshCoord operator()(Point const& p);

private:
    MeshClosestPtOnLineImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
