#pragma once

#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class Octree;
class OctreeTris;
struct BoundingBox;
class ClosestPointContext;

/// Finds the point of a mesh nearest to a given one, through the triangles listed in the voxels of
/// an octree. Exact, and the fast way for many queries.
///
/// lifetime    mesh, octree and table outlive the object and do not change
/// threads     an own object a thread, made by the constructor. A copy shares the working memory of
///             its source without owning it: it must not outlive it, and the two must not run
///             together
/// cost        construction reads the vertices and the nodes once and keeps 4 bytes a triangle; queries
///             leave 64 bytes a voxel and 9 a triangle listed in it where they have been, and
///             allocate little else
class TRIMORA_API MeshClosestPoint {
public:
    MeshClosestPoint(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris);
    MeshClosestPoint(MeshClosestPoint const& other);
    MeshClosestPoint& operator=(MeshClosestPoint const&) = delete;
    ~MeshClosestPoint();

    /// The distance from p to the mesh.
    ///
    /// result      out: the nearest place; may be null. Untouched when the mesh has no triangle
    ///             that can be measured, and the distance is the square root of the largest double
    ///             then
    /// ties        the triangle that is met first in the order of voxels by distance, and in a
    ///             voxel by number
    double compute(Point const& p, MeshCoord* result);

private:
    CompactMesh const& mesh_;
    Octree const& octree_;
    OctreeTris const& octreeTris_;
    ClosestPointContext* context_;
    bool ownsContext_;
};

/// The point of one triangle nearest to p; see MeshCoord::project. `vertices` and `triangles` are
/// the raw arrays, `tri` a number in range.
TRIMORA_API MeshCoord meshTriClosestPt(float const* vertices, int const* triangles, int tri,
                                       Point const& p);

/// Finds the point of a mesh nearest to p through its vertices and their triangles: needs no table,
/// and suits a few queries, since it makes two arrays of stamps a call.
///
/// octree       over the mesh's vertices; adjTris is the table of the same mesh
/// longestEdge  of the mesh, or more, see meshLongestEdge. The search goes on to voxels within
///              longestEdge / sqrt 2 of p whatever it has found. That is no safe bound far from the
///              mesh, where the nearest triangle can have its corners farther away than the voxels
///              that are looked at: MeshClosestPoint is the exact way
/// maxDist2     squared distance below which a place counts
/// vertexBoxes  one box a vertex, of all triangles around it, as meshComputeNeighbourBBoxes makes
///              them; null: found on the spot
/// result       out: the nearest place; may be null; untouched when nothing is nearer than maxDist2
/// returns      the distance; the square root of maxDist2 when nothing is nearer
/// threads      any number of calls at once
TRIMORA_API double meshClosestPoint(CompactMesh const& mesh, Octree const& octree,
                                    MeshAdjTris const& adjTris, Point const& p, double longestEdge,
                                    double maxDist2, BoundingBox const* vertexBoxes,
                                    MeshCoord* result);

/// As above with the mesh's longest edge, measured on every call, and no bound.
TRIMORA_API double meshClosestPoint(CompactMesh const& mesh, Octree const& octree,
                                    MeshAdjTris const& adjTris, Point const& p, MeshCoord* result);

/// Squared distance from p to the nearest vertex in the octree; the largest double when there is
/// none. One message.
TRIMORA_API double meshClosestVertex2(CompactMesh const& mesh, Octree const& octree,
                                      Point const& p);

/// The place of a mesh nearest to the foot of a point on a line, found as by meshClosestPoint; an
/// invalid coordinate when there is none.
TRIMORA_API MeshCoord meshRayClosestPt(CompactMesh const& mesh, double longestEdge,
                                       Octree const& octree, MeshAdjTris const& adjTris,
                                       Line const& line, Point const& point);

}  // namespace koGeom
