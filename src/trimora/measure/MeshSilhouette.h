#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <deque>

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshSilhouetteImpl;

/// Extracts the silhouette of a mesh for a view point or a view direction: the curve on which the
/// normal, interpolated between the vertices, is at right angles to the line of sight. It is smooth
/// where the faces' edges would zigzag.
///
/// Each vertex has a value, the product of its tangent plane with the view point: how far the point
/// lies above the plane, times the length of the normal. Values within the tolerance of 0 count as
/// 0. In each triangle the zeros of the interpolated values are a segment; it has the side with
/// values above 0, which faces the point, on its left, seen from outside.
///
/// mesh       read when the object is made (normals) and on each call (positions, triangles);
///            outlives the object and does not change. Without vertex normals there is no
///            silhouette
/// precision  floats. The crossings of an edge seen from its two triangles can differ in the last
///            bits
/// cost       of a call: O(vertices + triangles), on the calling thread; 22 bytes a vertex are kept
/// threads    one call at a time. A copy shares all data of its source and must not outlive it
/// source     Hertzmann, Zorin 2000 [hertzmann2000]
class TRIMORA_API MeshSilhouette {
public:
    /// tolerance   of the values; 0 or more
    MeshSilhouette(CompactMesh const& mesh, float tolerance);
    MeshSilhouette(MeshSilhouette const& other);
    MeshSilhouette& operator=(MeshSilhouette const&) = delete;
    virtual ~MeshSilhouette();

    /// The silhouette seen from a point, as a line mesh: two vertices of its own and one line strip
    /// a segment, by ascending triangle.
    ko::Reference<CompactMesh> computePersp(PointFlt const& eye);
    /// The same seen along a direction, which points from the mesh to the viewer.
    ko::Reference<CompactMesh> computeOrtho(VectorFlt const& direction);

    /// The same segments as places on the mesh, two each; `result` is emptied first.
    void computePerspOnMesh(PointFlt const& eye, std::deque<MeshCoord>& result);
    void computeOrthoOnMesh(VectorFlt const& direction, std::deque<MeshCoord>& result);

    /// From now on an edge with both ends at 0 is given once, and only when the third corners on
    /// its two sides lie on different sides; otherwise each of its triangles gives it, whose third
    /// corner is not at 0 itself. The table outlives the object.
    void setAdjacentTrianglesForDuplicateEdgeDetection(MeshAdjTris const& adjTris);

    /// From now on triangles with all corners at 0 are appended to the list and give no segments;
    /// otherwise they give all three edges. Null: as before.
    void setZeroCrossingTriangleList(ko::list<int>* triangles);

private:
    MeshSilhouetteImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
